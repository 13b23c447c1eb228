/* Where the time of JPEG decodes goes: calls, nanoseconds and bytes of each step, counted a thread and summed when they
 * are asked for. A step's time is its own: what it spends in another step counts there, so the sum over all steps is
 * the time that the threads spent in the decoder. Results of decodes are the same with and without. While counting is
 * off, a decode asks one word a few times an iMCU row; on, it reads the processor's counter a few times a batch of
 * MCUs.
 *
 *     jsInfo.enabled = 1;
 *     ... decodes, on any threads ...
 *     stat_print_all_info();
 */
#ifndef VOREL_JPEG_STATISTICS_H
#define VOREL_JPEG_STATISTICS_H

#include <stdint.h>

#include <vorel/export.h>

VOREL_BEGIN_DECLS

enum {
    JPEG_STAT_HEADERS,         /* marker segments, up to the entropy-coded data of each scan; detection of the type */
    JPEG_STAT_SET_UP,          /* a decode's plan, tables and memory, and taking them down */
    JPEG_STAT_ENTROPY_FULL,    /* baseline MCUs with all their coefficients */
    JPEG_STAT_ENTROPY_SCALED,  /* with those that a reduced transform looks at, down to the DC */
    JPEG_STAT_ENTROPY_SKIPPED, /* passed over: what no window shows */
    JPEG_STAT_ENTROPY_AHEAD,   /* DC values that a thread reads before the decoder comes to them */
    JPEG_STAT_PROGRESSIVE,     /* the scans of a progressive frame, an iMCU row of all of them a call */
    JPEG_STAT_IDCT_8X8,        /* inverse DCTs by their output, width x height; a call is a run of blocks */
    JPEG_STAT_IDCT_8X4,
    JPEG_STAT_IDCT_4X8,
    JPEG_STAT_IDCT_4X4,
    JPEG_STAT_IDCT_4X2,
    JPEG_STAT_IDCT_2X4,
    JPEG_STAT_IDCT_2X2,
    JPEG_STAT_IDCT_2X1,
    JPEG_STAT_IDCT_1X2,
    JPEG_STAT_IDCT_1X1,
    JPEG_STAT_IDCT_3X3,
    JPEG_STAT_UPSAMPLING, /* where it is a step of its own: doubled chroma is read as it is by most writers */
    JPEG_STAT_RESAMPLING, /* to sizes that the transforms do not give */
    JPEG_STAT_COLOUR,     /* colour conversion and storage */
    JPEG_STAT_MAP_PASS,   /* the pass that makes a region map, but for headers */
    JPEG_STAT_REGION,     /* rectangles: their sessions, and finding their positions */
    JPEG_STAT_MERGE,      /* taking over what other threads have read */
    JPEG_STAT_WAIT,       /* for other threads */
    JPEG_STAT_STEPS
};

typedef struct JpegStatStep {
    const char *name; /* as jpeg_set_stat_info named it; null: its own */
    uint64_t calls, nanoseconds;
    uint64_t bytes; /* of entropy-coded data that the step read */
} JpegStatStep;

/* enabled is the caller's: 1 counts, 0 does not; a thread that runs meanwhile takes notice at its next step. The rest
 * is what the last vorel_jpeg_stat_collect found. */
typedef struct JpegStatInfo {
    int32_t enabled;
    int32_t threads; /* that counted anything */
    JpegStatStep steps[JPEG_STAT_STEPS];
} JpegStatInfo;
VOREL_API extern JpegStatInfo jsInfo;

/* Names a step in the tables; null gives it back its own name. name has to stay. */
VOREL_API void jpeg_set_stat_info(int32_t id, const char *name);
/* The name that a step has in the tables; null for no step. */
VOREL_API const char *vorel_jpeg_stat_name(int32_t id);
/* Sums all threads up into jsInfo. One caller at a time, like the next three. */
VOREL_API void vorel_jpeg_stat_collect(void);
/* Sets all counters to 0, while no decode runs. */
VOREL_API void vorel_jpeg_stat_reset(void);
/* Collect, and print through the log under "VJPEG_STAT": one line, the milliseconds of each step that was used. */
VOREL_API void jpeg_print_stat_simple_info(void);
/* The same under "VOREL_STAT" as a table: calls, milliseconds, percent of the sum, megabytes a second. */
VOREL_API void stat_print_all_info(void);

VOREL_END_DECLS

#endif
