/* Reading point clouds from C, and from every language that calls C: opening, header, points,
   nearest points, closing.

     ptc_cloud* cloud;
     if (ptc_open("a.ptc", &cloud) != PTC_OK) fprintf(stderr, "%s\n", ptc_last_error());
     float positions[3 * 256];
     int64_t got = ptc_read_points(cloud, 0, 256, positions, NULL, NULL, NULL);
     ptc_close(cloud);

   Units      positions, distances and radii in world space; points are counted from 0; matrices are
              row-major, for row vectors.
   Errors     a status, or fewer points than asked for; ptc_last_error() says why. What a failed
   call would have stored is unchanged, but for arrays of points. Ownership  the caller owns a cloud
   until ptc_close(). Texts belong to the cloud. Arrays are the caller's; null for what is not
   wanted. Threads    any number of threads use one cloud at once, and any one closes it when the
   others are done. Each thread has its own last error.

   Enumerators keep their numbers and structures only grow at their end, with a new version. */

#ifndef PTC_PTC_H
#define PTC_PTC_H

#include <stdint.h>

#include "ptc/api.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum ptc_status {
    PTC_OK = 0,
    PTC_BAD_ARGUMENT = 1,   /* null, or a value that is refused */
    PTC_CANNOT_OPEN = 2,    /* the system refused: ptc_last_system_error() says why */
    PTC_NOT_A_CLOUD = 3,    /* the file is no point cloud, or is damaged before its first point */
    PTC_NO_SUCH_RECORD = 4, /* no such point or variable */
    PTC_UNREADABLE = 5,     /* the system could not read, or the file is damaged there */
    PTC_NO_MEMORY = 7
} ptc_status;

/* The calling thread's last failure, in one line with the file, what failed and the reason. Valid
   until the thread's next failure; empty when there was none. */
PTC_API const char* ptc_last_error(void);
/* Its errno value; 0 when the system has no part in it. */
PTC_API int32_t ptc_last_system_error(void);

/* The version of the library that runs, such as "0.2.0". */
PTC_API const char* ptc_version(void);

typedef struct ptc_cloud ptc_cloud;

/* Opens the file that has this name now: binary, text or gzip. */
PTC_API ptc_status ptc_open(const char* name, ptc_cloud** cloud);
/* Ignores null. */
PTC_API void ptc_close(ptc_cloud* cloud);

typedef struct ptc_header {
    int64_t points;
    int64_t nodes; /* of the octree; 0: the file has none */
    float box[6];  /* around all points' spheres: minimum x y z, maximum x y z */
    float largest_radius;
    float world_to_eye[16];
    float world_to_ndc[16];
    float format[3]; /* x resolution, y resolution, pixel aspect ratio */
    int32_t floats_per_point;
    int32_t variables;
} ptc_header;

PTC_API ptc_status ptc_get_header(const ptc_cloud* cloud, ptc_header* header);

typedef struct ptc_variable {
    const char* type; /* such as "float", "color" or "float[4]" */
    const char* name;
    int32_t first; /* at which float of a point's data it begins */
    int32_t size;  /* how many floats it takes */
} ptc_variable;

/* The point variable `index`, from 0 on, in the order of the data floats. */
PTC_API ptc_status ptc_get_variable(const ptc_cloud* cloud, int32_t index, ptc_variable* variable);

/* Copies `count` points from point `first` on: 3, 3, 1 and ptc_header.floats_per_point floats a
   point. Answers how many were copied: fewer where the file ends or cannot be read, and then
   ptc_last_error() says why. */
PTC_API int64_t ptc_read_points(ptc_cloud* cloud, int64_t first, int64_t count, float* positions,
                                float* normals, float* radii, float* data);

/* Finds the `most` points (1 to 65536) that are nearest to each of `count` places and at most
   `within` away, which may be infinite. `places`: 3 floats each. The answers of a place stand at
   its number times `most`, sorted by distance and then by index; found[i] of them are filled.
   A file without an octree gets one in memory by the first call. */
PTC_API ptc_status ptc_nearest(ptc_cloud* cloud, int64_t count, const float* places, int32_t most,
                               float within, int64_t* indexes, float* squared_distances,
                               int32_t* found);

#ifdef __cplusplus
}
#endif

#endif
