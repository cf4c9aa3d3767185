/* nearest: finds the points of a cloud that are nearest to a place, in C.

   usage: nearest FILE X Y Z [COUNT]

   Prints COUNT points, by default 4: number, distance, position and the first variable. */

#include <inttypes.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "ptc/ptc.h"

enum { kMost = 64 };

static int Fail(const char* why) {
    fprintf(stderr, "nearest: %s\n", why);
    return 1;
}

/* One point with its variable, which takes `variable->size` of the point's floats. */
static ptc_status PrintPoint(const ptc_cloud* cloud, int64_t index, float squared_distance,
                             const ptc_variable* variable, float* data) {
    float position[3];
    const ptc_status status = ptc_read_points(cloud, index, 1, position, NULL, NULL, data, NULL);
    if (status != PTC_OK) return status;
    printf("point %" PRId64 " at distance %g: %g %g %g", index, sqrt((double)squared_distance),
           (double)position[0], (double)position[1], (double)position[2]);
    if (variable->size > 0) printf(", %s", variable->name);
    for (int32_t i = 0; i < variable->size; ++i) printf(" %g", (double)data[variable->first + i]);
    putchar('\n');
    return PTC_OK;
}

static int PrintNearest(const ptc_cloud* cloud, const float* place, int32_t most, float* data) {
    ptc_variable variable = {"", "", 0, 0}; /* stays like this where the cloud has none */
    int64_t indexes[kMost];
    float distances[kMost];
    int32_t found = 0;
    ptc_get_variable(cloud, 0, &variable);
    if (ptc_nearest(cloud, 1, place, most, INFINITY, indexes, distances, &found) != PTC_OK)
        return Fail(ptc_last_error());
    for (int32_t i = 0; i < found; ++i)
        if (PrintPoint(cloud, indexes[i], distances[i], &variable, data) != PTC_OK)
            return Fail(ptc_last_error());
    return 0;
}

int main(int count, char** arguments) {
    const int most = count > 5 ? atoi(arguments[5]) : 4;
    if (count < 5 || count > 6 || most < 1 || most > kMost) {
        fputs("usage: nearest FILE X Y Z [COUNT, 1 to 64]\n", stderr);
        return 2;
    }
    float place[3];
    for (int axis = 0; axis < 3; ++axis) place[axis] = strtof(arguments[2 + axis], NULL);

    ptc_cloud* cloud;
    ptc_header header;
    if (ptc_open(arguments[1], &cloud) != PTC_OK || ptc_get_header(cloud, &header) != PTC_OK)
        return Fail(ptc_last_error());
    /* One float more, because a cloud without variables has none. */
    float* const data = calloc((size_t)header.floats_per_point + 1, sizeof *data);
    const int status = data ? PrintNearest(cloud, place, most, data) : Fail("memory ran out");
    free(data);
    ptc_close(cloud);
    return status;
}
