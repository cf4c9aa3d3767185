/* Reading point clouds from C, and from every language that calls C: opening, header, points,
   nearest points, closing.

     ptc_cloud* cloud;
     float positions[3 * 256];
     int64_t got;
     if (ptc_open("a.ptc", &cloud) != PTC_OK) fprintf(stderr, "%s\n", ptc_last_error());
     ptc_read_points(cloud, 0, 256, positions, NULL, NULL, NULL, &got);
     ptc_close(cloud);

   examples/nearest.c is a program.

   Units      positions, distances and radii in world space; points are counted from 0; matrices are
              row-major, for row vectors. Texts end with a zero byte and are as the file has them,
              which need not be UTF-8.
   Errors     a status: PTC_OK, or why not, and then ptc_last_error() has the words. A call that is
              refused with PTC_BAD_ARGUMENT stores nothing; null for a cloud is refused, too.
   Ownership  the caller owns a cloud until ptc_close(). Texts of a cloud live as long as it does.
              Arrays are the caller's; null for what is not wanted.
   Threads    any function from any thread at any time. Any number of threads use one cloud at once,
              and any one closes it when the others are done. Each thread has its own last error.
              ptc_shutdown() alone is different.

   All types have fixed widths and no declaration needs a macro, so that they may be copied into
   what binds them. Numbers and structures do not change while the library keeps the name
   that programs load; what is added gets functions and structures of its own. */

#ifndef PTC_PTC_H
#define PTC_PTC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ptc_cloud ptc_cloud;

#pragma GCC visibility push(default)

typedef int32_t ptc_status;
enum {
    PTC_OK = 0,
    PTC_BAD_ARGUMENT = 1, /* null, or a value that is refused */
    PTC_CANNOT_OPEN = 2,  /* the system refused: ptc_last_system_error() says why */
    PTC_NOT_A_CLOUD = 3,  /* the file is not a point cloud, or is damaged before its first point */
    PTC_NO_SUCH_RECORD = 4, /* no such point or variable */
    PTC_UNREADABLE = 5,     /* the system could not read, or the file is damaged there */
    PTC_NO_MEMORY = 7       /* or no room for an octree in memory */
};

/* The calling thread's last failure, in one line with the file, what failed and the reason. Valid
   until the thread's next failure or its end. A call that succeeds leaves it as it is, as with
   errno; empty when no call of the thread has failed. Never null. */
const char* ptc_last_error(void);
/* Its errno value; 0 when the system has no part in it. */
int32_t ptc_last_system_error(void);

/* The version of the library that runs, such as "0.2.0". */
const char* ptc_version(void);

/* Opens the file that has this name now, for reading: binary, text or gzip of either. Each call
   makes a cloud of its own. `*cloud`: null after a failure. */
ptc_status ptc_open(const char* name, ptc_cloud** cloud);
/* Ignores null. */
void ptc_close(ptc_cloud* cloud);

typedef struct ptc_header {
    int64_t points;
    int64_t nodes; /* of the octree; 0: none that can be used */
    float box[6];  /* around all points' spheres: minimum x y z, maximum x y z */
    float largest_radius;
    float world_to_eye[16];
    float world_to_ndc[16];
    float format[3]; /* x resolution, y resolution, pixel aspect ratio */
    int32_t floats_per_point;
    int32_t variables;
} ptc_header;

ptc_status ptc_get_header(const ptc_cloud* cloud, ptc_header* header);

typedef struct ptc_variable {
    const char* type; /* such as "float", "color" or "float[4]" */
    const char* name;
    int32_t first; /* at which float of a point's data it begins */
    int32_t size;  /* how many floats it takes */
} ptc_variable;

/* The point variable `index`, below ptc_header.variables, in the order of the data floats. */
ptc_status ptc_get_variable(const ptc_cloud* cloud, int32_t index, ptc_variable* variable);

/* Copies `count` points, 0 or more, from point `first` on: 3, 3, 1 and ptc_header.floats_per_point
   floats a point. `*got`: how many were copied. PTC_NO_SUCH_RECORD: the file has fewer, and all
   that it has from `first` on were copied. PTC_UNREADABLE: points are read in blocks of 256 from
   the first of the file on, and those before the damaged block were copied. */
ptc_status ptc_read_points(const ptc_cloud* cloud, int64_t first, int64_t count, float* positions,
                           float* normals, float* radii, float* data, int64_t* got);

/* Finds the `most` points, 1 to 65536, that are nearest to each of `count` places, 0 or more, and
   at most `within` away, which may be infinite. `places`: 3 floats each; a place that is not finite
   finds nothing. The answers of a place stand at its number times `most`, sorted by distance and
   then by index. `found`: how many answers each place has; behind them are indexes of -1 and
   infinite distances.

   PTC_UNREADABLE: as above, without the points that cannot be read. A cloud without an octree in a
   binary file gets one in memory by the first call, which PTC_UNREADABLE and PTC_NO_MEMORY may
   refuse; then nothing is found, and a later call tries again. */
ptc_status ptc_nearest(const ptc_cloud* cloud, int64_t count, const float* places, int32_t most,
                       float within, int64_t* indexes, float* squared_distances, int32_t* found);

/* Receives each warning about a damaged file: its number, its severity (1 warning, 2 error) and its
   text. Null installs the first handler again, which prints on standard error. The handler runs in
   the thread that has called the library, and may use the library, except ptc_shutdown(). The
   return value is unused. */
typedef int32_t (*ptc_message_handler)(int32_t number, int32_t severity, const char* text);
void ptc_set_message_handler(ptc_message_handler handler);

/* Gives back the memory that the library keeps for the whole process, before it is unloaded, for
   example. Clouds stay open. Caller: no other thread uses the library. */
void ptc_shutdown(void);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
