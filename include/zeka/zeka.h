/** @file
 * The whole C interface of libzeka, the driver library of an ECG patient simulator on USB.
 * Valid C11 and C++11. C++ programs find events, waits, threads and timers in zeka/platform.hpp.
 *
 * A whole program: connect, choose a function, stop, free.
 *
 * @code
 * #include <stdio.h>
 * #include "zeka/zeka.h"
 *
 * int main(void)
 * {
 *     if (!ZEKAConnect(-1, 5000)) { // the first instrument on any port, within 5 s
 *         fprintf(stderr, "no instrument found; is it plugged in, and may you open /dev/ttyACM*?\n");
 *         return 1;
 *     }
 *     printf("playing on %s\n", ZEKAGetSerialNumber());
 *
 *     // A sine, 1 mV peak to peak at 10 Hz, on all channels for 5 s.
 *     bool ok = ZEKASetAmplitude(1.0) == 0 && ZEKASetFrequency(10.0) == 0 && ZEKASetOutputFunction(1) == 0;
 *     SleepEx(5000);
 *
 *     ok = ZEKASetOutputFunction(0) == 0 && ok; // the stream stops
 *     ZEKAFree();                               // the port is free for other programs
 *     return ok ? 0 : 1;
 * }
 * @endcode
 *
 * @par What holds for all functions
 * Streaming. The library computes the signal, 40000 samples per second, and sends 700 of them (17.5 ms) for
 * each request of the instrument. A signal streams from the selection of an output function other than 0
 * until 0 is selected, until what is played once has ended, or until the instrument is lost. A function that
 * a loss or an upload leaves selected streams again from the next setter of the signal on.
 *
 * Waiting. While a signal streams, a setter first waits for the instrument's next request, so that its
 * change is in place before the next samples are computed. That takes 17.5 ms as a rule. It takes at most
 * 3000 ms with an instrument that sends no requests any more, counted from the call, also when the call
 * queues behind other setters. Calls run one after the other under one lock, in the order in which they
 * came. While the instrument stays silent, a call that exchanges bytes with it takes 0.2 s more for the
 * first exchange that is not answered and 0.3 s more for each that follows; no exchange takes longer than
 * 1 s. Most calls take one exchange, those that change the output stage two. ZEKASetOutputLead takes four, of
 * which at most two are not answered.
 *
 * Results. Setters return 0 for done, -1 for no instrument or one that sends no requests, -2 for a value out
 * of range. NaN is outside every range; ranges are inclusive; nothing is stored unless a call returns 0.
 * Calls with other results say so. Getters return the stored value, also with no instrument open. An
 * instrument counts as open from the moment its connection is announced until its loss is.
 *
 * Classes of calls. Each call names its class, or says in its place what it waits for.
 * - at once: any thread, callbacks included. Waits for nothing.
 * - lock: any thread, callbacks included. Waits while another call or the answer to a request holds the lock.
 * - request: any thread, callbacks included. Waits as "lock" does and, while a signal streams, for the
 *   instrument's next request, at most 3000 ms.
 * - exchange: any thread, while no signal streams. Waits as "lock" does, then for the instrument's reply.
 *
 * Threads. Any thread may call any function at any time, where nothing else is said. Signal handlers may call
 * none. A process may fork first and connect then, as a daemon does. A child of a connected process may not
 * (ZEKAInit returns false, ZEKAConnect 0): its calls answer as with no instrument open, and the parent's
 * connection is left alone.
 *
 * Callbacks. They run on threads of the library; what each type says about its thread and lock is binding. A
 * callback that runs under the lock must return well within the 17.5 ms of a burst, or the signal has gaps.
 * An exception that leaves a callback ends the program. The library's threads have all signals blocked; a
 * program started there inherits that unless they are unblocked first. No callback may call ZEKAFree,
 * ZEKAConnect or exit(): the clean-up of exit() may wait 5 s for a thread that waits for the callback.
 *
 * Stability. The ABI is stable: what stands here and in zeka/platform.hpp keeps its names, signatures,
 * results and layouts, so a later libzeka.so.1 needs no rebuild. Functions may be added; none is
 * removed or changes its meaning. Nothing else is exported. The samples of the standard test waveforms
 * may come closer to the originals.
 *
 * Cancellation. pthread_cancel of a thread that is inside a call takes effect behind the call's exchanges
 * with the instrument, files and locks; in SleepEx, in a wait for an event and while ZEKAConnect or
 * ZEKAFree waits, at once. In a callback it takes effect as the thread has chosen. A stream whose first
 * samples it cuts off is not started.
 *
 * End. exit() and dlclose() at any moment end all threads, close the instrument and release its lock
 * file. exit() leaves a thread behind that hangs in a callback, after 5 s at most. dlclose() waits for
 * as long as the callback takes, because its thread comes back into the library's code. When ZEKAFree
 * had to leave one behind, the library stays loaded, and dlclose() returns at once. A timer that
 * outlives the library is ignored.
 *
 * Global objects. A global object may connect in its constructor, with the shared and with the static
 * library: the library is ready before the program's own objects are made, and ends after they are gone.
 *
 * @par When a change takes effect
 * While nothing streams, every change takes effect at once. While a signal streams, each setter of the signal
 * says which of these holds.
 * - with the next sample: the next one that is computed.
 * - at the end of the running period: right after the first sample that lies less than 0.4 ms before that
 *   end. While the frequency that is set lies below 0.15 Hz: with the next sample.
 *
 * The running period is the one that the former settings gave: 1/frequency, or the length of the waveform or
 * recording (functions 9, 10, 14, 16, 17, 18). The setters of QRS, T, P, PR, QT and ST deviation, of a
 * waveform's index and of the ANE20000 lead also bring every change that waits into effect, with the next
 * sample.
 *
 * A recording may be loaded while one plays. Its samples replace the former ones in one step. The rate of a
 * file takes effect as soon as its line is read, also when the load fails then. The length of a pass follows
 * when the next change takes effect (select the function again): until then each pass is as long as with the
 * former recording, so a longer one is cut off and a shorter one holds its last sample.
 */
#ifndef ZEKA_ZEKA_H
#define ZEKA_ZEKA_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#if defined(__GNUC__)
#define ZEKA_API __attribute__((visibility("default")))
#else
#define ZEKA_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------- types */

/** The output functions, for ZEKASetOutputFunction. Every other number plays 0.0 mV. */
enum {
    ZEKA_FUNCTION_NONE = 0,                  /**< nothing: the stream stops */
    ZEKA_FUNCTION_SINE = 1,                  /**< sine */
    ZEKA_FUNCTION_TRIANGLE = 2,              /**< triangle */
    ZEKA_FUNCTION_SQUARE = 3,                /**< square */
    ZEKA_FUNCTION_RECTANGULAR_PULSE = 4,     /**< rectangular pulse */
    ZEKA_FUNCTION_TRIANGULAR_PULSE = 5,      /**< triangular pulse */
    ZEKA_FUNCTION_EXPONENTIAL = 6,           /**< exponential decay */
    ZEKA_FUNCTION_FIXED_ECG = 7,             /**< ECG, fixed timing */
    ZEKA_FUNCTION_ADJUSTABLE_ECG = 8,        /**< ECG, adjustable timing */
    ZEKA_FUNCTION_IEC60601_2_27 = 9,         /**< IEC 60601-2-27 test waveform */
    ZEKA_FUNCTION_IEC60601_2_51 = 10,        /**< IEC 60601-2-51 test waveform */
    ZEKA_FUNCTION_BIPHASIC_EXPONENTIAL = 13, /**< biphasic exponential pulse, 1 Hz */
    ZEKA_FUNCTION_RECORDING = 14,            /**< loaded ECG recording */
    ZEKA_FUNCTION_INPUT_DYNAMIC_RANGE = 15,  /**< input dynamic range test */
    ZEKA_FUNCTION_IEC60601_2_47 = 16,        /**< IEC 60601-2-47 pattern */
    ZEKA_FUNCTION_ANE20000 = 17,             /**< ANE20000 waveform */
    ZEKA_FUNCTION_RAW_DATA = 18              /**< raw data with a DC channel of its own */
};

/** Results of the setters. Calls with results of their own say so. */
enum {
    ZEKA_OK = 0,           /**< done */
    ZEKA_NO_ANSWER = -1,   /**< no instrument open, or it sent no request for 3000 ms while streaming */
    ZEKA_OUT_OF_RANGE = -2 /**< an argument outside its range, or a command that was not confirmed */
};

/** Lead selection of an output channel: 0, the state after connecting, or any other value. */
typedef int OutputLead;

/** Number of an IEC 60601-2-47 pattern, 0 to 4. */
typedef int IEC247_PATTERN;

/** Identity of the instrument, from the identity exchange (12 bytes). */
typedef struct MODEL_INFORMATION {
    unsigned char ModelCode[4]; /**< two letters, then two bytes that are shown as hexadecimal digits */
    unsigned int nSerialNumber; /**< 0 to 65535 */
    unsigned int nSerialBlock;  /**< 0 to 255 */
} MODEL_INFORMATION;

/**
 * Hardware information of the connected instrument (20 bytes); each 0 to 255, with the instrument's own
 * meaning.
 */
typedef struct ZEKA_HW_INFORMATION {
    unsigned int nStoredInfo0; /**< first byte of stored information */
    unsigned int nStoredInfo1; /**< second byte of stored information */
    unsigned int nQueryInfo;   /**< the module's answer to the query of its kind */
    unsigned int nHWSetting0;  /**< first hardware setting */
    unsigned int nHWSetting1;  /**< second hardware setting */
} ZEKA_HW_INFORMATION;

/** What feeds the DC channel of an output, in ZEKA_OUTPUT_STAGE. */
enum {
    ZEKA_DC_SOURCE_NONE = 0x00,         /**< nothing: 0 mV */
    ZEKA_DC_SOURCE_PLUS_300_MV = 0x01,  /**< a fixed source of the instrument */
    ZEKA_DC_SOURCE_MINUS_300_MV = 0x02, /**< a fixed source of the instrument */
    ZEKA_DC_SOURCE_VARIABLE = 0x10      /**< what comes with the samples */
};

/**
 * How the instrument's output stage is set, for ZEKAGetOutputStage; an element for each channel, 0 to 3.
 * Later versions may add members behind these; `size` says for how many the caller has room.
 */
typedef struct ZEKA_OUTPUT_STAGE {
    unsigned int size;    /**< set by the caller: sizeof(ZEKA_OUTPUT_STAGE) */
    int lead[4];          /**< 0: lead 0 is selected; 1: another one */
    int impedanceMode[4]; /**< 0 .. 3, 2 and 3 apart; -1: the instrument shows several at once */
    int signalGround[4];  /**< 1: tied to the instrument's ground; 0: not */
    int dcSource[4];      /**< ZEKA_DC_SOURCE_NONE, ...; any other value is the instrument's own */
} ZEKA_OUTPUT_STAGE;

/** A recording in the application's memory, for ZEKALoadRawData. The library copies both arrays. */
typedef struct RAW_WAVEFORM_DATA {
    double frequency; /**< samples per second, 100.0 .. 40000.0 */
    int count;        /**< samples in each array */
    double* ac;       /**< AC channel, mV, count samples; limited to -5.0 .. 5.0 */
    double* dc;       /**< DC channel, mV, count samples; limited to -1000.0 .. 1000.0 */
} RAW_WAVEFORM_DATA;

/**
 * Called with true when an instrument has been found and set up, with false when it was lost; not called for
 * ZEKAFree. Runs on the library's supervisor thread, without the lock. It may call every function but
 * ZEKAFree and ZEKAConnect, which wait for this very thread. While it runs, no loss is detected.
 */
typedef void (*ZEKA_CONNECTION_CALLBACK)(bool connected);

/**
 * A point of the signal: time since the stream started in s, value in mV. A stream that follows a loss
 * continues the time and the signal of the lost one. A stream that follows an end within a burst (played
 * once, or 0 selected in a callback) starts with the time that the rest of that burst took, at most 17.5 ms.
 * Runs under the lock on the thread that computes the samples: the library's poll thread, for the first burst
 * the thread of the call that started the stream. There are 70 calls in a row every 17.5 ms; together they
 * must end well within that time, because a slow callback causes a gap.
 */
typedef void (*ZEKA_SIGNAL_CALLBACK)(double seconds, double mV);

/**
 * The library switched the output function by itself. Thread, lock and time limit as for
 * ZEKA_SIGNAL_CALLBACK.
 */
typedef void (*ZEKA_FUNCTION_CALLBACK)(int function);

/**
 * The library changed the frequency by itself, Hz; -1.0 at the end of a sweep. Runs under the lock, on the
 * poll thread or on the thread of the call that caused it; must return well within 17.5 ms.
 */
typedef void (*ZEKA_FREQUENCY_CALLBACK)(double hz);

/** The baseline reset test changed its state. Thread, lock and time limit as for ZEKA_FREQUENCY_CALLBACK. */
typedef void (*ZEKA_STATE_CALLBACK)(int state);

/** The DC level of function 15 stepped, whole mV. Thread, lock and time limit as for ZEKA_SIGNAL_CALLBACK. */
typedef void (*ZEKA_OFFSET_CALLBACK)(int mV);

/** A notification of the application's own; the library stores it and never calls it. */
typedef void (*ZEKA_NOTIFY_CALLBACK)(unsigned int message, unsigned int wParam, unsigned long lParam);

/* ------------------------------------------------------------------------- library lifecycle */

/**
 * Starts looking for the instrument, on all ports from /dev/ttyACM0 to /dev/ttyACM127, and returns at
 * once.
 *
 * The listener is called for every connection and every loss. After a loss the search goes on, about once a
 * second. A port whose device did not answer three times is tried less often, at last every 10 s, until
 * something is plugged in anew. Setting up an instrument switches its output off and sets the leads and the
 * impedance of its four channels to 0. Every loss and ZEKAFree set the DC offset to 0 and switch variable DC
 * off, in the instrument too where it still takes commands. A second call only replaces the listener. The
 * call waits for a ZEKAFree of another thread that has not finished yet.
 *
 * @param callback  the listener, or null
 * @return true   the search runs, from now on or already
 *         false  its thread could not be started
 * @note Any thread but the listener's. Blocks up to 10 s behind an unfinished ZEKAFree.
 */
ZEKA_API bool ZEKAInit(ZEKA_CONNECTION_CALLBACK callback);

/**
 * Connects and waits for the connection: ZEKAInit for programs that need no listener. Replaces the listener.
 *
 * Not for a second connection: with an instrument already connected no connection follows, so the call
 * returns 0 after its time-out and, like every failed one, ends the existing connection too (ZEKAFree).
 *
 * @param port       0 .. 127 for that number of /dev/ttyACM*, -1 for the first instrument on any port
 * @param timeoutMs  0 .. 4294967295 ms; no value means "for ever"
 * @return 1  an instrument is connected
 *         0  none within the time-out; the search has ended
 * @note Any thread but those of callbacks. Blocks up to timeoutMs, and up to 10 s more when nothing was
 *       found.
 */
ZEKA_API int ZEKAConnect(int port, unsigned int timeoutMs);

/**
 * Stops the output, ends the connection and frees the port. The listener is not called.
 *
 * May be called in any state, any number of times and from several threads at once. Without a
 * connection it does nothing, nor in a child of a connected process, because the connection is the
 * parent's. The DC offset goes to 0 and variable DC off; other settings and registered signal callbacks
 * stay for the next ZEKAInit or ZEKAConnect.
 *
 * @note Any thread but those of callbacks: there it returns before the connection has ended. Blocks for
 *       some tenths of a second, up to 3 s more with an instrument that sends no requests any more, and at
 *       most 10 s after that.
 */
ZEKA_API void ZEKAFree(void);

/**
 * Whether an instrument is connected and set up, as the library last found it; exchanges nothing with it. A
 * pulled cable shows within 0.1 s. Class: at once.
 */
ZEKA_API bool ZEKAIsConnected(void);

/**
 * Whether a signal streams. After a loss in mid-stream it stays true until an instrument is found again, so
 * look at ZEKAIsConnected too. Class: at once.
 */
ZEKA_API bool ZEKAIsPlaying(void);

/**
 * Stores a callback for a message number in place of an earlier one; null is stored too. The library itself
 * calls none of them: this is for programs that keep such a table here. Class: at once.
 */
ZEKA_API void RegisterNotifyEvent(unsigned int message, ZEKA_NOTIFY_CALLBACK callback);

/**
 * Takes a notification. Message 537 (0x219, devices have changed) makes the library check at once, instead of
 * within 30 s, whether the instrument is still there. Other messages and both parameters are ignored.
 * Class: at once.
 */
ZEKA_API void WinEventCb(unsigned int message, unsigned int wParam, unsigned long lParam);

/* ------------------------------------------------------ output function, callbacks and reset */

/**
 * Selects what the instrument plays, on all channels, and starts the stream; 0 stops it at once.
 *
 *  1 sine               2 triangle            3 square                       4 rectangular pulse
 *  5 triangular pulse   6 exponential decay   7 ECG, fixed timing            8 ECG, adjustable timing
 *  9 IEC 60601-2-27    10 IEC 60601-2-51     13 biphasic exponential pulse  14 loaded ECG recording
 * 15 input dynamic range test                16 IEC 60601-2-47 pattern      17 ANE20000
 * 18 raw data with a DC channel of its own   11, 12 and all other numbers play 0.0 mV
 *
 * The number is not checked. While streaming, the new function takes effect with the next sample, its period
 * and caps at the end of the running period; those of 13 with the next sample. The frequency is lowered, and
 * stays so, to 500 Hz, for 4, 5, 6 to 5 Hz, for 7, 8 to 6 Hz; the frequency callback is called then. 13 sets
 * the frequency to 1 Hz and the pulse width to 50 ms.
 *
 * Until the period of the former function has ended, the new function is drawn on that period. So select
 * 0 before you leave a function with a long period: 9 (48 to 91 s), 16 (60 s), 14 and 18 (the recording's
 * length). Otherwise an ECG or a pulse that follows one of these shows nothing until that period has
 * ended, a triangle or a square is stretched to it, and 10 or 17 plays on through the waveforms behind
 * the selected one, then 0.0 mV. A function that is selected after 0 begins at the start of its period.
 *
 * @return  0  selected
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing changed
 * @note Any thread. Sleeps 100 ms before it returns, without the lock; inside a callback of the poll thread
 *       it does not. Blocks up to 3000 ms more while a signal streams.
 */
ZEKA_API int ZEKASetOutputFunction(int function);

/** The selected output function, 0 = none; also when the library selected it. Class: at once. */
ZEKA_API int ZEKAGetOutputFunction(void);

/**
 * Every 10th sample (4000 per second) of the AC channel, pacing overshoot included; null for none. At the end
 * of what was played once the callback gets the time -1.0 with 0.0 mV. A function that the callback selects
 * there plays when a recording (14, 18) has ended. Behind a standard waveform (9, 10, 16, 17) the selection
 * is undone, because the library selects 0 after that call. Class: at once, so a call of the former callback
 * may still be under way when this returns.
 */
ZEKA_API void ZEKARegisterSignalOutputCallback(ZEKA_SIGNAL_CALLBACK callback);

/**
 * Each pacing pulse as a rectangle for a display, in four calls: (t, 0), (t, height), (t + width, height),
 * (t + width, 0). Only while a signal output callback is registered too; null for none. Class: at once.
 */
ZEKA_API void ZEKARegisterPacingOutputCallback(ZEKA_SIGNAL_CALLBACK callback);

/**
 * Called when a sweep selects its function (1 or 7) and when it ends (0); null for none. Class: at once.
 */
ZEKA_API void ZEKARegisterOutputFunctionCallback(ZEKA_FUNCTION_CALLBACK callback);

/**
 * Called when the frequency is lowered to a function's cap, once per burst during a sweep (-1.0 at its end),
 * and in the baseline reset test; null for none. Class: lock.
 */
ZEKA_API void ZEKARegisterFrequencyCallback(ZEKA_FREQUENCY_CALLBACK callback);

/**
 * Called for every change of the baseline reset test's state, 0 = off; null for none. Class: at once.
 */
ZEKA_API void RegisterBaselineResetCB(ZEKA_STATE_CALLBACK callback);

/**
 * Called for every step of function 15's DC level (whole mV, truncated towards zero), and with -300 at its
 * start and end, on each of the twelve samples in the first 0.3 ms; null for none. Class: at once.
 */
ZEKA_API void RegisterSyncDCOffsetCB(ZEKA_OFFSET_CALLBACK callback);

/**
 * Switches the output off and sets everything back to the defaults: signal, DC offset, impedance, pacing,
 * noise, drift, dynamic range, sweep, loop of the standard waveforms.
 *
 * Not reset: ST segment, T duration, overshoot amplitude, standard waveform indices, respiration, callbacks,
 * recordings. Variable DC, on when the library is loaded, is off afterwards. Each step is a setter of its
 * own. A step that fails is skipped and not reported, so with no instrument open nearly nothing changes.
 *
 * @note Any thread but those of signal callbacks. Blocks for the sum of its steps: up to a second, 4.5 s
 *       with an instrument that answers nothing, and 6000 ms more where one streams but sends no requests any
 *       more.
 */
ZEKA_API void ZEKAReset(void);

/* ----------------------------------------------------------------------- waveform parameters */

/**
 * Amplitude of the main signal: peak to peak for functions 1, 2, 3 and 13, height for 4, 5 and 6, R wave
 * scale for the ECGs 7 and 8, which use at most 5.0. It has no effect on what is played from tables and
 * recordings. Negative values invert the signal. While the dynamic range test runs, the amplitude is lowered,
 * and stays so, until both together fit.
 *
 * @param mV  -10.0 .. 10.0
 * @return  0  stored; takes effect at the end of the running period
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 *         -3  the baseline reset test holds it; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetAmplitude(double mV);

/** Amplitude in mV, 1.0 at load, with the changes that the library made. Class: at once. */
ZEKA_API double ZEKAGetAmplitude(void);

/**
 * Frequency of the periodic functions; heart rate in beats per second for the ECGs (72 per minute is 1.2). A
 * sine follows with the next sample, while its period waits for the end of the running one: there its phase
 * jumps.
 *
 * @param hz  0.017 .. 500.0; with function 4 or 5 selected 0.017 .. 5.0. Others are capped later: see
 *            ZEKASetOutputFunction
 * @return  0  stored; takes effect at the end of the running period
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 *         -3  a running sweep holds it; nothing stored
 *         -4  the baseline reset test holds it; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetFrequency(double hz);

/** Frequency in Hz, 1.0 at load, with the changes that the library made. Class: at once. */
ZEKA_API double ZEKAGetFrequency(void);

/**
 * Width of the pulses of functions 4 and 5 (at its base).
 *
 * @param ms  1.0 .. 300.0
 * @return  0  stored; takes effect at the end of the running period
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetPulseWidth(double ms);

/** Pulse width in ms, 100.0 at load. Class: lock. */
ZEKA_API double ZEKAGetPulseWidth(void);

/**
 * Duration of the QRS complex of functions 7 and 8.
 *
 * @param ms  5.0 .. 200.0
 * @return  0  stored; takes effect with the next sample
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetQRSDuration(double ms);

/** QRS duration in ms, 100.0 at load. Class: at once. */
ZEKA_API double ZEKAGetQRSDuration(void);

/**
 * Height of the T wave of functions 7 and 8.
 *
 * @param mV  0.0 .. 5.0
 * @return  0  stored; takes effect with the next sample
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetTWave(double mV);

/** T wave in mV, 0.2 at load. Class: at once. */
ZEKA_API double ZEKAGetTWave(void);

/**
 * Duration of the P wave of function 8. It may be set longer than the PR interval that holds it.
 *
 * @param ms  50.0 .. 100.0
 * @return  0  stored; takes effect with the next sample
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetPDuration(double ms);

/**
 * P duration in ms, 100.0 at load; below 50.0 after a shorter PR interval was set. Class: lock.
 */
ZEKA_API double ZEKAGetPDuration(void);

/**
 * PR interval of function 8. Below 50.0 ms the P duration becomes as short as the interval; from 50.0 ms
 * on, a P duration below 50.0 ms becomes 50.0 ms.
 *
 * @param ms  0.0 .. 200.0
 * @return  0  stored; takes effect with the next sample
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetPRInterval(double ms);

/** PR interval in ms, 160.0 at load. Class: lock. */
ZEKA_API double ZEKAGetPRInterval(void);

/**
 * QT interval of function 8.
 *
 * @param ms  100.0 .. 900.0
 * @return  0  stored; takes effect with the next sample
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetQTInterval(double ms);

/** QT interval in ms, 350.0 at load. Class: lock. */
ZEKA_API double ZEKAGetQTInterval(void);

/**
 * Height of the P wave of function 8.
 *
 * @param mV  0.0 .. 2.0
 * @return  0  stored; takes effect with the next sample
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetPWave(double mV);

/** P wave in mV, 0.2 at load. Class: lock. */
ZEKA_API double ZEKAGetPWave(void);

/**
 * Deviation of the ST segment of function 8.
 *
 * @param mV  -2.0 .. 2.0
 * @return  0  stored; takes effect with the next sample
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetSTDeviation(double mV);

/** ST deviation in mV, 0.0 at load. Class: lock. */
ZEKA_API double ZEKAGetSTDeviation(void);

/**
 * Weight of the ST segment of function 8. The value at load, 70.0, lies below the range: once changed,
 * only loading the library again brings it back.
 *
 * @param ms  100.0 .. 900.0
 * @return  0  stored; takes effect at the end of the running period
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetSTSegment(double ms);

/** ST segment weight in ms, 70.0 at load. Class: lock. */
ZEKA_API double ZEKAGetSTSegment(void);

/**
 * Weight of the T wave's duration in function 8.
 *
 * @param ms  100.0 .. 900.0
 * @return  0  stored; takes effect at the end of the running period
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetTDuration(double ms);

/** T duration weight in ms, 180.0 at load. Class: lock. */
ZEKA_API double ZEKAGetTDuration(void);

/**
 * DC offset. One value for all channels, whatever channel is given: it goes with every sample, but not
 * while pacing or the baseline reset test is on, nor with functions 15 and 18, which have a DC level of
 * their own. The call also sets the given channel's DC source: where variable DC is off, +300 and -300
 * mV have sources of their own.
 *
 * @param channel  0 .. 3, whose DC source is set
 * @param mV       -1000 .. 1000
 * @return  0  stored and sent; takes effect with the next sample, the DC source when the instrument gets
 *             it. Whether the instrument confirmed is not reported
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  channel or offset outside its range; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetDCOffset(int channel, int mV);

/**
 * DC offset in mV, one for all channels, 0 at load. Class: lock.
 */
ZEKA_API int ZEKAGetDCOffset(void);

/**
 * Variable DC of a channel: its DC output follows the DC word of the samples (on) or its fixed source (off).
 *
 * @param channel  0 .. 3
 * @param on       true at load for all channels
 * @return  0  stored and sent; takes effect when the instrument gets it. Whether it confirmed is not reported
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  no such channel; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetDCOffsetVariableMode(int channel, bool on);

/**
 * Variable DC as last set for any of the channels, true at load. Class: lock.
 */
ZEKA_API bool ZEKAGetDCOffsetVariableMode(void);

/**
 * DC offset common mode: stores a flag and sends the output state again. The flag has no other effect.
 *
 * @return  0  stored and sent; whether the instrument confirmed is not reported
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 * @note Class: request.
 */
ZEKA_API int SetDCOffsetCommonMode(bool on);

/** DC offset common mode, false at load. Class: at once. */
ZEKA_API bool GetDCOffsetCommonMode(void);

/* ------------------------------------------------------------------------------------ pacing */

/**
 * Number of pulses in a pacing period: 0 one, 1 and 2 a second one, which comes 0.15 s (mode 1) or 0.25 s
 * (mode 2) before the first, not behind it.
 *
 * @param mode  any value is stored; those other than 1 and 2 play as 0
 * @return  0  stored; takes effect with the next sample
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetPacingPulseMode(int mode);

/** Pulse mode, 0 at load. Class: lock. */
ZEKA_API int ZEKAGetPacingPulseMode(void);

/**
 * Height of the pacing pulses on the DC channel.
 *
 * A height other than 0 also switches variable DC on for all four channels (0.0 does not switch it off
 * again), and the DC offset is not output while it lasts: the DC channel is 0.0 between pulses. With 0.0
 * pacing is off and the DC offset returns.
 *
 * While streaming, pacing goes on or off, and the DC offset with it, at the end of the running period.
 * While pacing is on, the height takes effect with the next sample, also in a pulse or overshoot that
 * is under way: 0.0 or a negative height turns the negative overshoot of a positive pulse into a
 * positive one until it ends.
 *
 * @param mV  -700.0 .. 700.0; the sign is the polarity
 * @return  0  stored; takes effect as described above
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetPacingAmplitude(double mV);

/** Pulse height in mV, 0.0 (off) at load. Class: lock. */
ZEKA_API double ZEKAGetPacingAmplitude(void);

/**
 * Width of the pacing pulses.
 *
 * @param ms  0.1 .. 3.0
 * @return  0  stored; takes effect with the next sample, also in a pulse that is under way
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetPacingDuration(double ms);

/** Pulse width in ms, 2.0 at load. Class: lock. */
ZEKA_API double ZEKAGetPacingDuration(void);

/**
 * Rate of the pulses; ends pacing at the rate of the main signal.
 *
 * @param ppm  10 .. 360 pulses per minute
 * @return  0  stored; takes effect at the end of the running period
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetPacingRate(unsigned int ppm);

/**
 * Pacing rate per minute as set, 60 at load, also while the pulses follow the main signal. Class: lock.
 */
ZEKA_API unsigned int ZEKAGetPacingRate(void);

/**
 * Paces at the rate of the main signal, as at load. A period outside 1/6 s to 6 s is not followed: there the
 * pacing rate counts.
 *
 * @return  0  stored; takes effect with the next change that another setter or the selection of a
 *             function brings
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  60 times the frequency lies outside 10 .. 360 per minute; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetPacingRateSynchronized(void);

/**
 * Time constant of the overshoot on the AC channel after each pulse. 0: no overshoot, and no droop of the
 * pulse. The end of a period at which a change takes effect ends the overshoot that is under way.
 *
 * @param ms  0 .. 100
 * @return  0  stored; takes effect at the end of the running period
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetOvershootTimeConstant(unsigned int ms);

/** Overshoot time constant in ms, 0 at load. Class: lock. */
ZEKA_API unsigned int ZEKAGetOvershootTimeConstant(void);

/**
 * Height at which the overshoot begins. The overshoot always opposes the pulse; the argument's sign is
 * ignored.
 *
 * @param mV  -5.0 .. 5.0
 * @return  0  stored; takes effect with the next sample, also in a pulse or overshoot that is under way
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetOvershootAmplitude(double mV);

/**
 * Overshoot in mV, never negative, 0.0 at load; ZEKAReset leaves it. Class: lock.
 */
ZEKA_API double ZEKAGetOvershootAmplitude(void);

/* --------------------------------------------------------------------- respiration and apnea */

/**
 * Respiration that the instrument produces itself. The codes are the instrument's own; their low 8 bits are
 * sent, and apnea goes off. While respiration is enabled (EnableRespiration), the library attenuates the AC
 * channel according to the baseline impedance, from the next sample on.
 *
 * @param variation     impedance variation code
 * @param frequency     breath rate code
 * @param ratio         inspiration to expiration ratio code
 * @param baseline      baseline impedance code; 0 .. 4 stand for 500, 1000, 1500, 2000, 2500 ohms
 * @param apneaSeconds  apnea at the end of every minute; n gives n - 1 seconds of it, 0 none
 * @return 1  confirmed by the instrument and stored
 *         0  no instrument open, it sent no request for 3000 ms while streaming, or not confirmed; nothing
 *            stored
 * @note Class: request.
 */
ZEKA_API int SetRespiration(int variation, int frequency, int ratio, int baseline, int apneaSeconds);

/**
 * Switches the instrument's apnea, with the codes of the last SetRespiration. Its cycle of a minute goes on.
 *
 * @return 1  confirmed by the instrument
 *         0  no instrument open, it sent no request for 3000 ms while streaming, or not confirmed
 * @note Class: request.
 */
ZEKA_API int SetApnea(bool on);

/**
 * One step of the apnea cycle, which a stream makes once per burst: switches apnea on in the last seconds of
 * a minute and off in the others. A command that fails is not repeated.
 *
 * @param seconds  whole seconds since the stream started
 * @note For a program that runs a cycle of its own without a stream. Any thread. Waits for the lock and,
 *       where apnea is to be switched, for the instrument's reply.
 */
ZEKA_API void EnableApneaByTime(int seconds);

/**
 * Respiration on or off on the host's side: attenuation of the AC channel and the apnea cycle, from the next
 * sample on. Off also forgets the codes and the modulation of the ECG, and sends the instrument no
 * respiration command. Stopping the output switches respiration off too, but forgets nothing.
 *
 * @return 1  switched
 *         0  no instrument open (switched and forgotten even so), or it sent no request for 3000 ms
 *            (unchanged)
 * @note Class: request.
 */
ZEKA_API int EnableRespiration(bool on);

/**
 * Notes that an external respiration module is used; the output state is sent again.
 *
 * @return 0  stored
 *         1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 * @note Class: request.
 */
ZEKA_API int EnableExternalRespireModule(bool on);

/**
 * Breathing of the ECGs 7 and 8: baseline, amplitude and heart rate follow a breath of half sines. The
 * arguments are not checked; 0 breaths, ratio 0 and ratio -1 give no breathing. The signal's amplitude and
 * frequency are read once, in this call: set them before, and call this again after changing them.
 *
 * Takes effect with the next sample, which begins a new beat where the heart rate is to breathe; that
 * beat still has the length of the running period. With a heart rate that breathes, call this again for
 * every stream: a stop keeps the beat clock of the former stream, and the next one shows no proper beat
 * until it has lasted as long.
 *
 * @param breathsPerMinute  breaths
 * @param ratio             expiration as a multiple of inspiration
 * @param apneaSeconds      no breath in the last seconds of each minute; 0 and less for none
 * @param baselinePercent   wander of the baseline, in % of the amplitude
 * @param amplitudePercent  swing of the ECG's amplitude, in % of the amplitude
 * @param ratePercent       swing of the heart rate, in % of the frequency; 0 for none
 * @return 1  stored
 *         0  no instrument open; nothing stored
 * @note Class: lock.
 */
ZEKA_API int SetRespireAlgorithmParam(int breathsPerMinute, int ratio, int apneaSeconds, int baselinePercent,
                                      int amplitudePercent, int ratePercent);

/* -------------------------------------------------------------------------------- test modes */

/**
 * Sine sweep, linear in frequency, with a continuous phase, from the next sample on. The frequency callback
 * gets the frequency once per burst.
 *
 * On or off, the call first selects the sine and so starts it, also when it then refuses its arguments. Off
 * stops the output. A sweep to a lower frequency ends after its first burst. At the end of a sweep the output
 * stops, and the function callback gets 0.
 *
 * @param on       start or stop
 * @param seconds  10 .. 180
 * @param startHz  0.67 .. 500.0
 * @param stopHz   0.67 .. 500.0
 * @return  0  started or stopped
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming
 *         -2  start, -3 stop frequency, -4 duration outside its range; the sine is selected
 * @note Any thread. Sleeps 100 ms before it returns, as ZEKASetOutputFunction does. Blocks up to 3000 ms
 *       while a signal streams.
 */
ZEKA_API int ZEKASetFrequencyScan(bool on, int seconds, double startHz, double stopHz);

/** Whether the sine sweep is on. Class: lock. */
ZEKA_API bool ZEKAGetFrequencyScan(void);

/** Start of the last sweep in Hz, 0.67 at load; 0.05 after an ECG sweep. Class: at once. */
ZEKA_API double GetFreqScanSineStartFreq(void);

/** Stop of the last sweep in Hz, 150.0 at load; 0.5 after an ECG sweep. Class: at once. */
ZEKA_API double GetFreqScanSineStopFreq(void);

/** Duration of the sine sweep in s, 30 at load. Class: at once. */
ZEKA_API int GetFreqScanSineDuration(void);

/**
 * ECG sweep: function 7 from 0.05 Hz to 0.5 Hz in 30 s of signal, from the next sample on. Off stops the
 * output.
 *
 * @return  0  started or stopped
 *         -1  no instrument open
 * @note Class: lock.
 */
ZEKA_API int SetFreqScanECG(bool on);

/** Whether a sweep runs, of the sine or of the ECG, whatever the name suggests. Class: at once. */
ZEKA_API bool GetFreqScanECG(void);

/**
 * Dynamic range test: a sine added to a triangle or a square; the sum is limited to -5.0 .. 5.0 mV. On
 * selects function 2 or 3, off selects 0 and so stops the output.
 *
 * @param on         start or stop
 * @param triangle   on the triangle, else on the square
 * @param amplitude  of the sine, 0.0 .. 10.0 mV peak to peak
 * @param frequency  of the sine, 1.0 .. 60.0 Hz
 * @return  0  stored; function and sine take effect with the next sample, the lowered amplitude (see
 *             ZEKASetAmplitude) at the end of the running period
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; nothing stored
 *         -2  amplitude, -3 frequency outside its range; nothing stored
 * @note Class: request.
 */
ZEKA_API int ZEKASetDynamicRangeTest(bool on, bool triangle, double amplitude, double frequency);

/** Whether the dynamic range test is on. Class: lock. */
ZEKA_API bool ZEKAGetDynamicRangeTest(void);

/** Sine of the dynamic range test in mV peak to peak, 1.0 at load. Class: at once. */
ZEKA_API double GetDynamicRangeTestAmp(void);

/** Sine of the dynamic range test in Hz, 40.0 at load. Class: at once. */
ZEKA_API double GetDynamicRangeTestFreq(void);

/**
 * Mains noise on the ECGs 7 and 8 and on ANE20000.
 *
 * @param type       0 off, 1 50 Hz, 3 random; every other value 60 Hz
 * @param amplitude  0.01 .. 5.0 mV peak to peak
 * @return  0  stored; the type takes effect with the next sample, the amplitude at the end of the running
 *             period
 *         -1  no instrument open; nothing stored
 *         -2  amplitude outside the range or no number; nothing stored
 * @note Class: lock.
 */
ZEKA_API int SetECG2_27_Noise(int type, double amplitude);

/**
 * Type of the mains noise, 0 (off) at load; the number that was set, no frequency. Class: at once.
 */
ZEKA_API int GetECG2_27_NoiseFreq(void);

/** Mains noise in mV peak to peak, 0.1 at load. Class: at once. */
ZEKA_API double GetECG2_27_NoiseAmp(void);

/**
 * Drift under the ECGs 7 and 8: a slow triangle, on or off.
 *
 * @return  0  stored; takes effect with the next sample
 *         -1  no instrument open; nothing stored
 * @note Class: lock.
 */
ZEKA_API int SetECG2_27_AAMIDriftTest(bool on);

/** Whether the drift is on, false at load. Class: at once. */
ZEKA_API bool GetECG2_27_AAMIDriftTest(void);

/**
 * Height of the drift.
 *
 * @param amplitude  1.0 .. 8.0 mV peak to peak
 * @return  0  stored; takes effect with the next sample
 *         -1  no instrument open; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: lock.
 */
ZEKA_API int SetECG2_27_AAMIDriftTestAmp(double amplitude);

/** Drift in mV peak to peak, 4.0 at load. Class: at once. */
ZEKA_API double GetECG2_27_AAMIDriftTestAmp(void);

/**
 * Frequency of the drift.
 *
 * @param frequency  0.05 .. 2.0 Hz
 * @return  0  stored; takes effect with the next sample
 *         -1  no instrument open; nothing stored
 *         -2  outside the range or no number; nothing stored
 * @note Class: lock.
 */
ZEKA_API int SetECG2_27_AAMIDriftTestFreq(double frequency);

/** Drift in Hz, 0.1 at load. Class: at once. */
ZEKA_API double GetECG2_27_AAMIDriftTestFreq(void);

/**
 * Baseline reset test: a sine of 1000 mV peak to peak on the DC channel, to overload an amplifier's input.
 *
 * On selects function 1; while it is on, the setters of amplitude and frequency refuse. Off leaves the sine
 * selected, at 0.0 mV and 1.0 Hz, not at what was set before the test. Stopping a stream ends the test too; a
 * loss of the instrument does not.
 *
 * On and off move the sine between the AC and the DC channel with the next sample; its frequency follows then
 * too. The amplitude follows at the end of the running period, which On sets to that of the new frequency. So
 * after Off the AC channel carries the overload sine, limited to its range, until that period has ended.
 *
 * @param state  0 off; 1, 2, 3, 4 on with 50, 60, 80, 100 Hz; every other value on with the
 *               frequency as it is
 * @return  0  switched; takes effect as described above
 *         -1  no instrument open
 * @note Class: lock.
 */
ZEKA_API int SetBaselineResetTest(int state);

/** State of the baseline reset test, 0 (off) at load. Class: at once. */
ZEKA_API int GetBaselineResetTest(void);

/* ------------------------------------------------------------------- standard test waveforms */

/**
 * Waveform for function 9 (IEC 60601-2-27). One index serves functions 9, 10 and 16: setting it for one
 * sets it for all.
 *
 * @param index  0 .. 9; every other value is stored too and plays 0.0 mV
 * @return 0, always; takes effect with the next sample, also with no instrument open
 * @note Class: lock.
 */
ZEKA_API int SetSpecialWave227(int index);

/** The index that functions 9, 10 and 16 share, 0 at load. Class: at once. */
ZEKA_API int GetSpecialWave227(void);

/**
 * All samples of an IEC 60601-2-27 waveform, in microvolts, 720 per second.
 *
 * @param index   0 .. 9
 * @param length  gets the number of samples, 34511 .. 65239; 0 for another index
 * @param rate    gets 720
 * @return the library's own memory, not to be written or released; null for another index
 * @note Class: at once.
 */
ZEKA_API int* GetSpecialWave227Array(int index, unsigned int* length, unsigned int* rate);

/**
 * Waveform for function 10 (IEC 60601-2-51). One index serves functions 9, 10 and 16: setting it for one
 * sets it for all.
 *
 * @param index  0 .. 15; every other value is stored too and plays 0.0 mV
 * @return 0, always; takes effect with the next sample, also with no instrument open
 * @note Class: lock.
 */
ZEKA_API int SetSpecialWave251(int index);

/** The index that functions 9, 10 and 16 share, 0 at load. Class: at once. */
ZEKA_API int GetSpecialWave251(void);

/**
 * All samples of an IEC 60601-2-51 calibration waveform, in microvolts, 1000 per second.
 *
 * @param index   0 .. 15
 * @param length  gets the number of samples, 1000; 0 for another index
 * @param rate    gets 1000
 * @return the library's own memory, not to be written or released; null for another index
 * @note Class: at once.
 */
ZEKA_API int* GetSpecialWave251Array(int index, unsigned int* length, unsigned int* rate);

/**
 * Waveform for function 16 (IEC 60601-2-47). One index serves functions 9, 10 and 16: setting it for one
 * sets it for all. The first use of a pattern computes it, before the lock is taken; pattern 4 keeps 28.8 MB
 * from then on.
 *
 * @param index  0 .. 4; every other value is stored too and plays 0.0 mV
 * @return 0, always; takes effect with the next sample, also with no instrument open
 * @note Class: lock. Not from a signal callback for the first use of pattern 4, which takes some 50 ms.
 */
ZEKA_API int SetSpecialWave247(int index);

/** The index that functions 9, 10 and 16 share, 0 at load. Class: at once. */
ZEKA_API int GetSpecialWave247(void);

/**
 * All samples of an IEC 60601-2-47 pattern, in mV, 1000 per second. Function 16 plays its first 60 s.
 *
 * @param pattern  0 .. 4
 * @param length   gets the number of samples: 60000, for pattern 4 3600000; 0 for another pattern
 * @param rate     gets 1000
 * @return the library's own memory, not to be written or released; null for another pattern
 * @note Any thread; the first use computes the pattern.
 */
ZEKA_API double* GetSpecialWave247Array(int pattern, unsigned int* length, unsigned int* rate);

/**
 * Lead of ANE20000, function 17.
 *
 * @param lead  0 .. 8
 * @return  0  stored; takes effect with the next sample, also with no instrument open
 *         -1  outside the range; nothing stored
 * @note Class: lock.
 */
ZEKA_API int SetANE20000Lead(int lead);

/** Lead of ANE20000, 0 at load. Class: at once. */
ZEKA_API int GetANE20000Lead(void);

/**
 * Samples of an IEC 60601-2-47 pattern, mV, 1000 per second: 60000, for pattern 4 3600000.
 *
 * @param pattern  0 .. 4
 * @return the library's own memory, not to be written or released; null for another pattern
 * @note Any thread; the first use computes the pattern.
 */
ZEKA_API double* getIEC47RawArray(IEC247_PATTERN pattern);

/**
 * A fresh copy of an IEC 60601-2-47 pattern, mV, 1000 per second: 60000 samples, for pattern 4 3600000.
 *
 * @param pattern  0 .. 4
 * @return the caller's, to be released with delete[] (in C with free, the same in the GNU run-time); null
 *         for another pattern or without memory
 * @note Any thread; computes the pattern every time.
 */
ZEKA_API double* getArray(IEC247_PATTERN pattern);

/**
 * The beat of the IEC 60601-2-47 patterns: 360 samples, mV, 1000 per second. The library's own memory.
 * Class: at once.
 */
ZEKA_API double* getECG227Array(void);

/** Mean RR interval of the 5 patterns in s. The library's own memory. Class: at once. */
ZEKA_API double* getRRavgArray(void);

/** RR modulation depth of the 5 patterns in s. The library's own memory. Class: at once. */
ZEKA_API double* getRRdevArray(void);

/** RR modulation frequency of the 5 patterns in Hz. The library's own memory. Class: at once. */
ZEKA_API double* getHRVfreqArray(void);

/* -------------------------------------- playback from the instrument's memory, loop switches */

/**
 * Uploads one period of a function and lets the instrument play it on its own; every other number stops that.
 *
 * The function stays selected, so the next setter of the signal (ZEKASetAmplitude, say) starts the library's
 * own stream of it. Set every parameter before this call.
 *
 * @param function  1 .. 8; with the parameters that are set now
 * @return  0  done, or the upload failed or was not confirmed: which of these is not reported
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming; only a stop returns 0
 *             without one
 * @note Any thread but those of signal callbacks. Blocks for the upload, up to 150 exchanges, and up to
 *       3000 ms while a signal streams.
 */
ZEKA_API int ZEKAOutputSignal(int function);

/**
 * Samples per second at which a period of that frequency is uploaded: the highest of 40000 .. 50 with at
 * most 2000 samples in a period; 1000 below 0.025 Hz, with more; 40000 for negative ones. Class: at once.
 */
ZEKA_API int GetSampleRateByFrequency(double hz);

/**
 * Samples in one uploaded period of that frequency, truncated: at most 2000 from 0.025 Hz on.
 * Class: at once.
 */
ZEKA_API int GetPixelNumberByFrequency(double hz);

/**
 * Whether the standard waveforms (functions 9, 10, 16, 17) repeat, true at load, or are played once. Takes
 * effect with the next sample: switched off after more than one pass, it ends the playback at once. Class: at
 * once.
 */
ZEKA_API void SetStandardWaveformLoop(bool on);

/**
 * Whether recordings (functions 14 and 18) repeat, true at load, or are played once. Takes effect with the
 * next burst: switched off after more than one pass, it ends the playback at once. Class: at once.
 */
ZEKA_API void ZEKAEnableLoop(bool on);

/**
 * Uploads one period of a function and stores it in the instrument, to be played without a host.
 *
 * @param function  1 .. 8; with the parameters that are set now
 * @return 1  stored, or not confirmed as stored within 16 s; also when the instrument sent no request for
 *            3000 ms while streaming, and nothing was uploaded
 *         0  no instrument open; or a step was not confirmed, and the function stays selected: the next
 *            setter of the signal starts a stream of it
 * @note Any thread but those of callbacks. Blocks up to 20 s, less when another thread calls ZEKAFree, and
 *       a stream has gaps meanwhile: stop it first. Functions 7 and 8 are stored as a flat line while
 *       nothing has been set or selected since the library was loaded, because their limit is 0 mV until
 *       then. Set any parameter first.
 */
ZEKA_API int ZEKASaveToStandaloneMode(int function);

/**
 * Resets everything (ZEKAReset) and stores a fixed waveform in the instrument: the ECG 7, 1 Hz, 2 mV.
 *
 * @return 1, whether or not it was stored, also with no instrument open
 * @note Any thread but those of callbacks. Blocks as ZEKAReset and ZEKASaveToStandaloneMode.
 */
ZEKA_API int ZEKASaveDefaultWaveform(void);

/* --------------------------------------------------------------- device identity and version */

/**
 * Model and serial number that the instrument reported when it was connected.
 *
 * @return 1  copied
 *         0  no instrument open, or no record given; the record is untouched
 * @note Class: at once.
 */
ZEKA_API int ZEKAGetDeviceInformation(MODEL_INFORMATION* info);

/**
 * Would write model and serial number into the instrument. The instrument's flash cannot be written
 * through this library: nothing changes.
 *
 * @return 1  no instrument open, or it sent no request for 3000 ms while streaming
 *         0  not written
 * @note Class: request.
 */
ZEKA_API int ZEKASetDeviceInformation(MODEL_INFORMATION* info);

/**
 * Hardware information that the instrument reported when it was connected.
 *
 * @param info  a ZEKA_HW_INFORMATION (20 bytes)
 * @return 1  copied
 *         0  no instrument open, or no record given; the record is untouched
 * @note Class: at once.
 */
ZEKA_API int ZEKAGetHWInformation(void* info);

/**
 * Would write the two hardware settings into the instrument. The instrument's flash cannot be written
 * through this library: nothing changes.
 *
 * @return 1  the instrument sent no request for 3000 ms while streaming
 *         0  no instrument open, or not written
 * @note Class: request.
 */
ZEKA_API int ZEKASetHWInformation(int setting0, int setting1);

/**
 * Serial number as text, for instance "ZZE023A-210345"; "Z" with no instrument open.
 *
 * @return one buffer of the library, at most 31 characters; it is overwritten when another instrument is
 *         connected
 * @note Class: at once.
 */
ZEKA_API const char* ZEKAGetSerialNumber(void);

/** Version of the library, one number in each byte: 0x01000502 is 1.0.5.2. Class: at once. */
ZEKA_API unsigned int ZEKAGetVersion(void);

/**
 * Descriptor of the open port, -1 for none. It belongs to the library: do not close it, nor change its
 * settings or flags.
 *
 * A program may exchange a command of its own with the instrument on it, from the command's first byte to
 * the reply's last one, while all of this holds: nothing streams; the instrument plays nothing for which it
 * requests samples; no call of the library is under way on any thread, callbacks included; and the
 * supervisor's ping, 30 s after connecting and every 30 s from then on, does not fall into it. All of it
 * holds right after connecting; at no later moment can a program tell. Work on a duplicate
 * (F_DUPFD_CLOEXEC): on a loss the library closes its own descriptor, whose number may then be given to
 * another file. Flush the duplicate's output (tcflush) before closing it, or that close may wait up to 30 s
 * for output that is not taken. A reply that is not read is dropped before the library's next command; a
 * ping precedes that command then.
 *
 * @note Class: lock.
 */
ZEKA_API int64_t ZEKAGetDeviceHandle(void);

/**
 * Time-outs of the exchanges with the instrument, 200 ms each at load. There is seldom a reason to change
 * them.
 *
 * @param readMs   for a reply; counted in microseconds of 32 bits, so it wraps above 4294967 ms. The pings
 *                 that follow a missing reply have half as much again
 * @param writeMs  for a request; likewise
 * @note Any thread. Waits until the port has input, at most readMs, and then until it takes output, at
 *       most writeMs.
 */
ZEKA_API void SetDeviceTimeoutSetting(unsigned int readMs, unsigned int writeMs);

/* ------------------------------------------------------------------------------ output stage */

/**
 * Lead switch of a channel.
 *
 * @param channel  0 .. 3
 * @param lead     0, as after connecting, or any other value
 * @return  0  confirmed by the instrument
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming
 *         -2  no such channel, or not confirmed
 * @note Class: request; 0.6 s more with an instrument that answers nothing.
 */
ZEKA_API int ZEKASetOutputLead(int channel, OutputLead lead);

/**
 * Input impedance network of a channel.
 *
 * @param channel  0 .. 3
 * @param mode     0 .. 3; 0 as after connecting
 * @return  0  sent; whether the instrument confirmed is not reported
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming
 *         -2  no such channel or mode; nothing sent
 * @note Class: request.
 */
ZEKA_API int ZEKASetInputImpedanceMode(int channel, int mode);

/**
 * Reads the impedance mode of a channel from the instrument.
 *
 * @param channel  0 .. 3
 * @return 0, 1 or 2; mode 3 reads back as 2. 0 also with no instrument open or without an answer
 *         -1  it sent no request for 3000 ms while streaming
 *         -2  no such channel
 * @note Class: request.
 */
ZEKA_API int ZEKAGetInputImpedanceMode(int channel);

/**
 * Ties the signal ground of a channel to the instrument's ground, or unties it.
 *
 * @param channel,on  0 .. 3, and whether it is tied
 * @return  0  sent; whether the instrument confirmed is not reported
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming
 *         -2  no such channel; nothing sent
 * @note Class: request.
 */
ZEKA_API int ZEKASetSignalGroundToGNDGround(int channel, bool on);

/**
 * Reads from the instrument whether the signal ground of a channel is tied to its ground.
 *
 * @param channel  0 .. 3
 * @return  1  tied; also with no instrument open, or when it sent no request for 3000 ms while streaming
 *          0  not tied, or no answer
 *         -2  no such channel
 * @note Class: request.
 */
ZEKA_API int ZEKAGetSignalGroundToGNDGround(int channel);

/**
 * Reads the settings of the whole output stage from the instrument, in one exchange: those that the getters
 * above report for a channel, and those they leave out (the lead, mode 3 apart from mode 2, the DC source).
 *
 * @param stage  a record whose `size` the caller has set to sizeof(ZEKA_OUTPUT_STAGE), at least 68. This
 *               library leaves members that a later header has added untouched; a library that knows
 *               them fills them
 * @return  0  filled
 *         -1  no instrument open, it sent no request for 3000 ms while streaming, or it gave no answer;
 *             the record is untouched
 *         -2  no record given, or `size` is below 68, the record's first form; nothing sent
 * @note Class: request.
 */
ZEKA_API int ZEKAGetOutputStage(ZEKA_OUTPUT_STAGE* stage);

/**
 * Sends the output state (playing or not, sample rate) again.
 *
 * @param state  has no effect
 * @return  0  sent; whether the instrument confirmed is not reported
 *         -1  no instrument open, or it sent no request for 3000 ms while streaming
 * @note Class: request.
 */
ZEKA_API int SetAllOutputState(unsigned int state);

/**
 * Enables or disables output channels; the others stay as they are.
 *
 * @param mask,on  bit c for channel c, 0 to 3, and whether these are enabled
 * @return true   confirmed by the instrument
 *         false  no instrument open, it sent no request for 3000 ms while streaming, or not confirmed
 * @note Class: request.
 */
ZEKA_API bool SetSelectedChannelEnabled(unsigned char mask, bool on);

/**
 * Sets (lead not 0) or clears the lead bits of output channels. It also enables exactly these channels and
 * disables all others: call SetSelectedChannelEnabled afterwards where that is not intended.
 *
 * @param mask,lead  bit c for channel c, 0 to 3; lead 0 clears their lead bits, any other sets them
 * @return true   confirmed by the instrument
 *         false  no instrument open, it sent no request for 3000 ms while streaming, or not confirmed
 * @note Class: request.
 */
ZEKA_API bool SetSelectedChannelLeads(unsigned char mask, OutputLead lead);

/* ----------------------------------------- calibration, manufacturing data, firmware entries */

/**
 * Switches calibration mode on, whatever the argument: the library has no way to switch it off.
 *
 * @return 1  answered by the instrument
 *         0  no instrument open, or no answer
 * @note Class: exchange.
 */
ZEKA_API int ZEKASetCalibrationMode(bool on);

/**
 * Writes two codes straight to the converters, for calibration; the low 16 bits of each.
 *
 * @return 1  answered by the instrument
 *         0  no instrument open, or no answer
 * @note Class: exchange.
 */
ZEKA_API int ZEKASetOutputDac(int first, int second);

/**
 * Would read the manufacturing record. The instrument's memory cannot be reached through this library:
 * nothing is transferred.
 *
 * @return 0; the buffer is untouched
 * @note Class: lock.
 */
ZEKA_API int ZEKAReadMfgInfo(unsigned char* buffer, int length);

/**
 * Would write the manufacturing record. The instrument's memory cannot be reached through this library:
 * nothing is transferred.
 *
 * @return 0
 * @note Class: lock.
 */
ZEKA_API int ZEKAWriteMfgInfo(unsigned char* buffer, int length);

/**
 * Would store a DC offset calibration value. The instrument's memory cannot be reached through this
 * library: nothing is transferred.
 *
 * @return 0
 * @note Class: lock.
 */
ZEKA_API int ZEKASetDCOffsetCalibrationData(int channel, int value);

/**
 * Would write a DC calibration word. The instrument's memory cannot be reached through this library:
 * nothing is transferred.
 *
 * @return 1  the instrument sent no request for 3000 ms while streaming
 *         0  otherwise, always
 * @note Class: request.
 */
ZEKA_API int ZEKAWriteDCCalibrationData(int index, int value);

/** Does nothing. Returns 0. Class: at once. */
ZEKA_API int ZEKASetFixedDCByDAC(int code);

/** Does nothing. Returns -1. Class: at once. */
ZEKA_API int ZEKAUpdateFwLoadFirmwareFile(void* a, void* b, void* c, void* d);

/** Does nothing. Class: at once. */
ZEKA_API void ZEKAUpdateFwBurnBinFile(void* a);

/* --------------------------------------------------------------- ECG recordings and raw data */

/**
 * Loads one channel of a multi-channel text file for function 14. The file has a line each with the rate
 * (samples per second), the number of samples, the number of channels and the channel names, then a line for
 * each sample with a value in mV for each channel, separated by commas. Values are limited to -2.5 .. 2.5 mV.
 *
 * @param path     UTF-8, at most 511 characters
 * @param channel  counted from 0
 * @return the number of samples loaded, fewer than declared where the file ends early
 *         -1  cannot be opened
 *         -2  rate missing, 0 or outside 100.0 .. 40000.0
 *         -3  number of samples, -4 number of channels missing or 0
 *         -5  names missing
 *         -6  no memory; nothing is loaded any more
 *         -7  no such channel; or a line with too few values, and nothing is loaded any more
 * @note Any thread but those of signal callbacks, also while a recording plays. Blocks for the reading.
 */
ZEKA_API int LoadECGtxt(const char* path, int channel);

/**
 * Loads a single-channel text file for function 14. The file has a line each with the rate (samples
 * per second) and the number of samples, then one value in mV per line, limited to -2.5 .. 2.5 mV.
 * In C++ also LoadECGtxt(path).
 *
 * @param path  UTF-8, at most 511 characters
 * @return the number of samples loaded, fewer than declared where the file ends early
 *         -1  cannot be opened
 *         -2  rate, -3 number of samples missing or 0
 *         -4  no memory; nothing is loaded any more
 * @note Any thread but those of signal callbacks, also while a recording plays. Blocks for the reading.
 */
ZEKA_API int LoadECGtxtSingle(const char* path);

/**
 * Loads a binary file for function 14, all numbers high byte first: rate (16 bits, samples per second),
 * number of samples (32 bits), then samples in microvolts (signed 16 bits), limited to -2.5 .. 2.5 mV.
 *
 * @param path  at most 511 characters, opened as UTF-8
 * @return the number of samples loaded, fewer than declared where the file ends early
 *         -1  cannot be opened
 *         -2  rate missing, 0 or outside 30 .. 5000
 *         -3  number of samples missing, 0, negative or above 20000000
 *         -4  no memory; nothing is loaded any more
 * @note Any thread but those of signal callbacks, also while a recording plays. Blocks for the reading.
 */
ZEKA_API int LoadECGBin(const wchar_t* path);

/**
 * Channel names of a multi-channel text file. Loads nothing, but its rate becomes that of the loaded
 * recording: load one afterwards.
 *
 * @param path   at most 511 characters, opened as UTF-8
 * @param names  gets a buffer of 128 characters for each name in the file, to be released with free(), in C++
 *               too; null for none. It needs room for as many names as the file declares; at most 128 are
 *               used. Entries without a name stay as they are. The last name ends with the line's line feed
 * @return the number of channels that the file declares
 *         -1  cannot be opened
 *         -2  rate, -3 number of samples, -4 number of channels missing or 0, the last also when negative
 *         -5  names missing
 * @note Any thread but those of signal callbacks. Blocks for the reading.
 */
ZEKA_API int CheckECGTxtChannel(const wchar_t* path, char** names);

/**
 * Loads AC and DC samples from the application's memory, for function 18. Variable DC, as
 * ZEKAGetDCOffsetVariableMode reports it, goes off when all DC samples are 0.
 *
 * @param data  copied; the arrays stay the application's
 * @return the number of samples loaded
 *         -1  no record or an array missing; or no memory or a negative count, and nothing is loaded any more
 *         -2  rate outside 100.0 .. 40000.0; the samples are loaded even so
 * @note Any thread but those of signal callbacks, also while a recording plays. Blocks for the reading.
 */
ZEKA_API int ZEKALoadRawData(RAW_WAVEFORM_DATA* data);

/** Does nothing. Returns -1. Class: at once. */
ZEKA_API int getFileSize(const char* path);

/* ----------------------------------------------------------------------- recording and dumps */

/**
 * Records every sample that is computed from now on, 40000 per second, until `length` samples are
 * recorded. A full buffer is not reported; recording stays on until DisableRecordRaw. Starts and stops
 * of the stream do not end it.
 *
 * @param ac      gets the AC words before they are truncated, -32768.0 .. 32767.0; 6400 per mV without
 *                respiration
 * @param dc      gets the DC channel, mV
 * @param length  samples for which each of the two has room; both must stay valid until DisableRecordRaw has
 *                returned
 * @return true   recording
 *         false  already on; nothing changed
 * @note Class: lock.
 */
ZEKA_API bool EnableRecordRaw(double* ac, double* dc, int length);

/**
 * Ends the recording. Once it has returned the library no longer touches the buffers. How many samples were
 * recorded is not reported: fill the buffers with NaN before. Class: lock.
 */
ZEKA_API void DisableRecordRaw(void);

/**
 * Writes values to a text file, "%.3f" and a line feed each, whatever the locale. An existing file is
 * replaced.
 *
 * @param values,count  the values and their number
 * @param path  at most 511 characters, opened as UTF-8
 * @return  0  written
 *         -3  cannot be opened
 *         -6  a write failed (disk full); what was written stays
 * @note Any thread but those of signal callbacks; takes no lock. Blocks for the writing.
 */
ZEKA_API int DumpRawData(double* values, unsigned int count, const wchar_t* path);

/**
 * Writes values to a text file that LoadECGtxt(path, 0) loads: rate, count, 1, name, then the values as in
 * DumpRawData.
 *
 * @param rate    samples per second
 * @param count   values
 * @param values  mV
 * @param name    of the channel, without comma and line feed
 * @param path    at most 511 characters, opened as UTF-8
 * @return  0  written
 *         -3  cannot be opened
 *         -6  a write failed (disk full); what was written stays
 * @note Any thread but those of signal callbacks; takes no lock. Blocks for the writing.
 */
ZEKA_API int OutputRaw(int rate, unsigned int count, double* values, const char* name, const wchar_t* path);

/**
 * OutputRaw for the tables of GetSpecialWave227Array and GetSpecialWave251Array: microvolts become mV.
 *
 * @param table  microvolts, count of them
 * @param count  entries; 0 and less write the head alone
 * @param rate   samples per second
 * @param name   of the channel, without comma and line feed
 * @param path   at most 511 characters, opened as UTF-8
 * @return  0  written
 *         -3  cannot be opened
 *         -6  a write failed (disk full); what was written stays
 * @note Any thread but those of signal callbacks; takes no lock. Blocks for the writing.
 */
ZEKA_API int DumpStandardWaveform(int* table, int count, int rate, const char* name, const wchar_t* path);

/* ----------------------------------------------------------------------------- small helpers */

/**
 * Sleeps ms milliseconds, 0 .. 4294967295. Neither signals nor anything else shorten or lengthen the sleep.
 * Any thread; a thread that is cancelled meanwhile ends there.
 */
ZEKA_API void SleepEx(unsigned int ms);

/**
 * Closes a descriptor of the application's own, never that of ZEKAGetDeviceHandle.
 *
 * @return 1  closed
 *         0  not open, or no descriptor at all
 * @note Any thread.
 */
ZEKA_API int CloseHandle(int64_t handle);

/**
 * Does nothing: a thread is released by joining it. The name is there for programs that pair it with
 * CreateThread (zeka/platform.hpp). Any thread.
 */
ZEKA_API void CloseThread(unsigned long threadId);

#ifdef __cplusplus
} // extern "C"

/** The single-channel form under its overloaded name. */
inline int LoadECGtxt(const char* path) { return LoadECGtxtSingle(path); }
#endif

#endif
