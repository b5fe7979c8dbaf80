/* The monitor that serves timers, and clients that arm, stop, reset and destroy them.
 *
 * Time is not counted: a timer in the list falls due whenever that matters, and a limited wait of
 * the monitor ends at some time. Process 0 is the monitor.
 *
 * Scenarios:
 *   0  two clients, a timer each: armed and armed again, stopped, reset, or neither
 *   1  two clients, one timer: as above
 *   2  as 0, but expiries may fall on whole seconds
 *   3  a client arms a timer, the other ends the monitor
 *
 * Lost expiries that are kept on purpose: the monitor does not wake up by itself for an expiry on a
 * whole second, if that is the earliest; and a timer that falls due while it is being stopped or
 * reset is dropped without a callback, and a reset does not arm it again.
 *
 * Faults: 1 arming signals nobody; 2 callbacks are made without the list locked; 3 the monitor waits
 * without limit although timers are armed; 4 the end of the monitor is announced after its signal;
 * 5 stop does not take the timer out of the list; 6 a timer is dropped that is not due.
 */
#define THREADS 3
#define TIMERS 2
#define SELF me
#include "threads.pml"

byte mutex = FREE;
Condition condition;
byte fields[TIMERS] = FREE; /* locks */
bool running[TIMERS];
bool listed[TIMERS];
bool onWholeSecond[TIMERS];
byte callbacks[TIMERS];
bool mustBeOver[TIMERS];  /* no callback may come, or be going on */
bool mayBeLost[TIMERS];   /* was stopped or reset since it was armed */
byte armings[TIMERS];
bool stopping;
bool monitorHasEnded;
bool sleepsTooLong;       /* the earliest expiry is on a whole second */
bool spuriousLeft;

inline serve(timer) {
    lock(fields[timer]);
    if
    :: true -> /* not due yet */
        if
        :: fault == 6 -> listed[timer] = false
        :: else
        fi;
        earliest = (earliest == TIMERS -> timer : earliest)
    :: true -> /* not due yet, and the earliest so far */
        earliest = timer
    :: true ->
        if
        :: running[timer] ->
            if
            :: fault == 2 -> unlock(fields[timer]); unlock(mutex)
            :: else
            fi;
            assert(!mustBeOver[timer]);
            callbacks[timer]++;
            assert(!mustBeOver[timer]);
            if
            :: fault == 2 -> lock(mutex); lock(fields[timer])
            :: else
            fi
        :: else
        fi;
        running[timer] = false;
        listed[timer] = false
    fi;
    unlock(fields[timer])
}

proctype monitor(byte me) {
    byte earliest;
    byte each;
    bool isLimited;
    lock(mutex);
    do
    :: stopping && fault != 4 -> break
    :: else ->
        isLimited = (listed[0] || listed[1]) && !sleepsTooLong && fault != 3;
        beginToWait(condition, mutex);
        if
        :: awaitSignal(condition, mutex)
        :: atomic { isLimited && condition.state[me] == WAITING -> condition.state[me] = NOT };
           lock(mutex)
        :: atomic { spuriousLeft && condition.state[me] == WAITING ->
                    spuriousLeft = false; condition.state[me] = NOT };
           lock(mutex)
        fi;
        if
        :: stopping -> break
        :: else
        fi;
        earliest = TIMERS;
        for (each : 0 .. TIMERS - 1) {
            if
            :: listed[each] -> serve(each)
            :: else
            fi
        }
        sleepsTooLong = earliest < TIMERS && onWholeSecond[earliest]
    od;
    unlock(mutex);
    monitorHasEnded = true
}

inline arm(timer) {
    lock(fields[timer]);
    d_step {
        mustBeOver[timer] = false;
        mayBeLost[timer] = false;
        armings[timer]++;
        running[timer] = true
    }
    if
    :: true -> onWholeSecond[timer] = false
    :: scenario == 2 -> onWholeSecond[timer] = true
    fi;
    unlock(fields[timer]);
    lock(mutex);
    listed[timer] = true;
    if
    :: fault != 1 -> signal(condition)
    :: else
    fi;
    unlock(mutex)
}

inline stop(timer, wasArmed) {
    lock(fields[timer]);
    mayBeLost[timer] = true;
    running[timer] = false;
    unlock(fields[timer]);
    lock(mutex);
    wasArmed = listed[timer];
    if
    :: wasArmed && fault != 5 ->
        mayBeLost[timer] = true;
        listed[timer] = false;
        signal(condition)
    :: else
    fi;
    unlock(mutex)
}

proctype client(byte me; byte timer; bool isAlone) {
    bool wasArmed;
    arm(timer);
    if
    :: true
    :: arm(timer)
    :: stop(timer, wasArmed);
       if /* of several clients, another may arm it */
       :: isAlone ->
           mustBeOver[timer] = true;
           assert(!listed[timer] && !running[timer]);
           assert(!wasArmed || callbacks[timer] == 0)
       :: else
       fi
    :: stop(timer, wasArmed);
       if
       :: wasArmed -> arm(timer)
       :: else
       fi
    fi
}

proctype ender(byte me) {
    if
    :: fault != 4 -> stopping = true
    :: else
    fi;
    lock(mutex);
    listed[0] = false;
    listed[1] = false;
    signal(condition);
    unlock(mutex);
    stopping = true;
    monitorHasEnded;
    mustBeOver[0] = true
}

init {
    readSettings();
    spuriousLeft = true;
    atomic {
        run monitor(0);
        if
        :: scenario == 1 -> run client(1, 0, false); run client(2, 0, false)
        :: scenario == 3 -> run client(1, 0, true); run ender(2)
        :: else -> run client(1, 0, true); run client(2, 1, true)
        fi
    }
    timeout;
    /* Nobody can go on any more. */
    assert(mutex == FREE && fields[0] == FREE && fields[1] == FREE);
    byte timer;
    for (timer : 0 .. TIMERS - 1) {
        assert(callbacks[timer] <= armings[timer]);
        if
        :: scenario == 3 -> assert(monitorHasEnded)
        :: else ->
            assert(!listed[timer] || sleepsTooLong);
            assert(listed[timer] || mayBeLost[timer] || armings[timer] == 0 || callbacks[timer] > 0)
        fi
    }
}
