/*
 * c_interface.h - the virtual instrument for languages that call C: libzeka_sim.so. Valid C11 and C++.
 * The Python module stands on it. An instrument is plugged into the calling process's own /dev, so the
 * process either may write there, or moves into a private world first (zeka_sim_enter_private_dev).
 *
 * Functions that can fail return 0 or an errno value; zeka_sim_last_error() has the sentence. Any thread may
 * call any function, an instrument's functions not while zeka_sim_free runs on it.
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
    uint32_t waveform_stores;   /* times a waveform went into the memory that outlives a power cut */
    uint32_t stored_samples;    /* of the period there */
    uint32_t stored_function;   /* output function it came from; 0: none */
    double stored_frequency_hz; /* 0.0: none */
} ZekaSimState;

/** What a bench would read off one output; NaN where the window does not show it. */
typedef struct ZekaSimChannel {
    double minimum_mv;
    double maximum_mv;
    double peak_to_peak_mv;
    double mean_mv;
    double rms_mv;
    double frequency_hz;
    double pulse_height_mv; /* from the resting level, signed */
    double pulse_width_ms;  /* of the first whole one, at half height */
    double pulses_per_minute;
} ZekaSimChannel;

/**
 * Moves the calling process into a world of its own, in which it may make /dev/ttyACM nodes and lock files;
 * it stays there, and the machine's own ttyACM nodes are out of its sight. Programs that it starts are in it
 * too. For an ordinary user the process must have one thread only, and its user then appears as root; of
 * root's threads only the calling one and those it starts move. Does nothing inside such a world.
 *
 * @return 0, EBUSY (several threads) or what the kernel said; after another failure than EBUSY the process
 *         is in no usable state for an instrument, but else unharmed
 */
ZEKA_SIM_API int zeka_sim_enter_private_dev(void);

/** Whether the process runs in such a world, its own or one that it was started in. */
ZEKA_SIM_API bool zeka_sim_in_private_dev(void);

/** An unplugged instrument; `fast` plays every burst at once instead of in real time. Null:
 * zeka_sim_last_error. */
ZEKA_SIM_API ZekaSim* zeka_sim_new(bool fast);
/** Unplugs and forgets it; null is ignored. */
ZEKA_SIM_API void zeka_sim_free(ZekaSim* sim);

/** Plugs in at /dev/ttyACM<port>, 0 .. 127. EEXIST: taken. EACCES: /dev may not be written. */
ZEKA_SIM_API int zeka_sim_plug(ZekaSim* sim, int port);
/** As a pulled cable: the host sees a hang-up, then the node goes. */
ZEKA_SIM_API int zeka_sim_unplug(ZekaSim* sim);

/**
 * The next samples that are played, in mV at attenuation 1, 40000 per second.
 *
 * @param ac, dc  room for `samples` values each
 * @return 0, or ETIMEDOUT when they did not come within timeout_ms; nothing is written then
 */
ZEKA_SIM_API int zeka_sim_capture(ZekaSim* sim, size_t samples, unsigned int timeout_ms, double* ac,
                                  double* dc);

/** Measures a window of one channel, 40000 values per second. EINVAL: no values. */
ZEKA_SIM_API int zeka_sim_measure(const double* millivolts, size_t samples, ZekaSimChannel* report);

ZEKA_SIM_API int zeka_sim_stats(const ZekaSim* sim, ZekaSimStats* stats);
ZEKA_SIM_API int zeka_sim_state(const ZekaSim* sim, ZekaSimState* state);

/** The sentence to the calling thread's last failure; valid until its next one. */
ZEKA_SIM_API const char* zeka_sim_last_error(void);

#ifdef __cplusplus
}
#endif

#endif
