/* A user of the C interface: prints what a cloud holds and what is nearest to its first point.

   usage: package_user_in_c FILE */

#include <math.h>
#include <ptc/ptc.h>
#include <stdio.h>

enum { kMost = 2, kRoom = 8 };

static int PrintVariables(const ptc_cloud* cloud, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        ptc_variable variable;
        if (ptc_get_variable(cloud, i, &variable) != PTC_OK) return 0;
        printf(", %s %s at %d", variable.type, variable.name, (int)variable.first);
    }
    return 1;
}

static int Print(const ptc_cloud* cloud) {
    ptc_header header;
    if (ptc_get_header(cloud, &header) != PTC_OK) return 0;
    printf("%lld points, %lld nodes", (long long)header.points, (long long)header.nodes);
    if (!PrintVariables(cloud, header.variables)) return 0;

    float places[3 * kRoom], areas[kRoom];
    int64_t got = 0;
    /* The cloud has fewer points than there is room. */
    if (header.floats_per_point != 1 ||
        ptc_read_points(cloud, 0, kRoom, places, NULL, NULL, areas, &got) != PTC_NO_SUCH_RECORD)
        return 0;
    for (int64_t i = 0; i < got; ++i) printf(", area %g", areas[i]);

    int64_t indexes[kMost];
    float distances[kMost];
    int32_t found = 0;
    if (ptc_nearest(cloud, 1, places, kMost, INFINITY, indexes, distances, &found) != PTC_OK)
        return 0;
    for (int32_t i = 0; i < found; ++i)
        printf(", point %lld at %g", (long long)indexes[i], distances[i]);
    puts("");
    return 1;
}

int main(int count, char** arguments) {
    if (count != 2) return 2;
    ptc_cloud* cloud;
    const int is_good = ptc_open(arguments[1], &cloud) == PTC_OK && Print(cloud);
    if (!is_good) fprintf(stderr, "package_user_in_c: %s\n", ptc_last_error());
    ptc_close(cloud);
    return is_good ? 0 : 1;
}
