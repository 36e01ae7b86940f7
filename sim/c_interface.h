/*
 * c_interface.h - the virtual instrument for languages that call C: libzeka_sim.so. Valid C11 and C++.
 * The Python module uses it. An instrument is plugged into the calling process's own /dev. The process must
 * be allowed to write there, or moves into a private world first (zeka_sim_enter_private_dev).
 *
 * Functions that can fail return 0 or an errno value; zeka_sim_last_error() has the message. Any thread may
 * call any function, but none on an instrument while zeka_sim_free runs on it.
 */
#ifndef ZEKA_SIM_C_INTERFACE_H
#define ZEKA_SIM_C_INTERFACE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#define ZEKA_SIM_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ZekaSim ZekaSim;

/** What the instrument counted since it was made. */
typedef struct ZekaSimStats {
    uint64_t bursts;
    uint64_t requests;
    uint64_t played_samples;
    uint64_t sequence_gaps;
    uint64_t underruns;
    uint64_t bad_headers;
    uint64_t commands;
    uint64_t unknown_bytes;
    double worst_answer_us; /* request to last byte of its burst; NaN before the first */
} ZekaSimStats;

/** What the instrument is doing, and what was stored in it. */
typedef struct ZekaSimState {
    bool plugged;
    bool output_on;             /* the host streams */
    bool memory_playing;        /* the uploaded period is being played */
    int port;                   /* -1: none */
    uint32_t waveform_stores;   /* times a waveform was stored in the ROM */
    uint32_t stored_samples;    /* of the period in the ROM */
    uint32_t stored_function;   /* output function it was made from; 0: none */
    double stored_frequency_hz; /* 0.0: none */
} ZekaSimState;

/** What bench equipment would read at one output; NaN where the window does not show it. */
typedef struct ZekaSimChannel {
    double minimum_mv;
    double maximum_mv;
    double peak_to_peak_mv;
    double mean_mv;
    double rms_mv;
    double frequency_hz;
    double pulse_height_mv; /* from the resting level, signed */
    double pulse_width_ms;  /* of the first whole pulse, at half height */
    double pulses_per_minute;
} ZekaSimChannel;

/**
 * Moves the calling process for good into a private world, in which it may make /dev/ttyACM nodes and lock
 * files and does not see the machine's own ttyACM nodes. Programs that it starts are in that world, too. An
 * ordinary user's process must have one thread only, and its user then appears as root. Of root's threads
 * only the calling one and those it starts move. Does nothing inside a private world.
 *
 * @return 0; EBUSY (several threads) or another errno value of the kernel. After a failure other than EBUSY
 *         the process cannot use an instrument; everything else in it still works.
 */
ZEKA_SIM_API int zeka_sim_enter_private_dev(void);

/** Whether the process runs in a private world, its own or one that it was started in. */
ZEKA_SIM_API bool zeka_sim_in_private_dev(void);

/** Makes an unplugged instrument; `fast`: it plays every burst at once, not in real time. Null on failure. */
ZEKA_SIM_API ZekaSim* zeka_sim_new(bool fast);
/** Unplugs and destroys it; null is ignored. */
ZEKA_SIM_API void zeka_sim_free(ZekaSim* sim);

/** Plugs in at /dev/ttyACM<port>, 0 .. 127. EEXIST: taken. EACCES: /dev may not be written. */
ZEKA_SIM_API int zeka_sim_plug(ZekaSim* sim, int port);
/** Like pulling the cable: the host sees a hang-up, then the node disappears. */
ZEKA_SIM_API int zeka_sim_unplug(ZekaSim* sim);

/**
 * Waits for the next samples that are played, in mV at attenuation 1, 40000 per second.
 *
 * @param ac, dc  room for `samples` values each
 * @return 0, or ETIMEDOUT when they were not played within timeout_ms; nothing is written then
 */
ZEKA_SIM_API int zeka_sim_capture(ZekaSim* sim, size_t samples, unsigned int timeout_ms, double* ac,
                                  double* dc);

/** Measures a window of one channel, 40000 values per second. EINVAL: no values. */
ZEKA_SIM_API int zeka_sim_measure(const double* millivolts, size_t samples, ZekaSimChannel* report);

ZEKA_SIM_API int zeka_sim_stats(const ZekaSim* sim, ZekaSimStats* stats);
ZEKA_SIM_API int zeka_sim_state(const ZekaSim* sim, ZekaSimState* state);

/** The message of the calling thread's last failure; valid until its next one. */
ZEKA_SIM_API const char* zeka_sim_last_error(void);

#ifdef __cplusplus
}
#endif

#endif
