/* Mutexes and conditions, as the models use them.
 *
 * A process is a thread; SELF is its number. A mutex holds the number of its owner, or FREE. Each
 * condition has its own array of those who wait: NOT, WAITING or WOKEN. The file that includes this
 * one defines THREADS, how many there are.
 *
 * Assumed: giving a mutex back and beginning to wait for a condition is one step; a signal wakes
 * any one of those that wait; memory looks the same to all.
 */
#define FREE 255
#define NOT 0
#define WAITING 1
#define WOKEN 2

typedef Condition {
    byte state[THREADS]
}

inline lock(mutex) {
    atomic { mutex == FREE -> mutex = SELF }
}

inline unlock(mutex) {
    d_step { assert(mutex == SELF); mutex = FREE }
}

inline beginToWait(condition, mutex) {
    d_step { assert(mutex == SELF); condition.state[SELF] = WAITING; mutex = FREE }
}

/* The end of a wait that only a signal ends. Waking up for no reason is for each model to allow. */
inline awaitSignal(condition, mutex) {
    atomic {
        condition.state[SELF] == WOKEN && mutex == FREE ->
        condition.state[SELF] = NOT;
        mutex = SELF
    }
}

inline wait(condition, mutex) {
    beginToWait(condition, mutex);
    awaitSignal(condition, mutex)
}

inline signal(condition) {
    atomic {
        byte chosen = 0;
        bool any = false;
        byte each;
        for (each : 0 .. THREADS - 1) {
            if
            :: condition.state[each] == WAITING && (!any) -> any = true; chosen = each
            :: condition.state[each] == WAITING && any -> chosen = each
            :: condition.state[each] == WAITING && any -> skip
            :: else
            fi
        }
        if
        :: any -> condition.state[chosen] = WOKEN
        :: else
        fi
    }
}

inline broadcast(condition) {
    d_step {
        byte each;
        for (each : 0 .. THREADS - 1) {
            if
            :: condition.state[each] == WAITING -> condition.state[each] = WOKEN
            :: else
            fi
        }
    }
}

/* What is planted, and which scenario is played: set from outside, so that a model is compiled once. */
byte fault;
byte scenario;

inline readSettings() {
    c_code {
        now.fault = getenv("FAULT") ? (unsigned char)atoi(getenv("FAULT")) : 0;
        now.scenario = getenv("SCENARIO") ? (unsigned char)atoi(getenv("SCENARIO")) : 0;
    }
}
