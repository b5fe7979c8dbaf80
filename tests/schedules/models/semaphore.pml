/* The semaphore: who gets units, who waits, and what may be lost.
 *
 * Scenarios:
 *   0  a lock of three threads without limits or cancellation: nobody is left waiting
 *   1  the same with limited waits, and one of the threads may be cancelled; each comes once
 *   2  two that take one unit each and a third that gives two
 *   3  as 1, but each comes twice
 *
 * Lost wake-ups that are kept on purpose: who comes while others are counted as waiting waits for a
 * signal, though a unit may be free; and who is cancelled while waiting stays counted.
 *
 * Faults: 1 the signal comes before the count, and unlocked; 2 what woke a waiter is not looked at;
 * 3 a give signals only when the count was 0 and nobody is waiting; 4 mutex and condition are left
 * one after the other; 5 who runs out of time stays counted.
 */
#define THREADS 3
#define SELF me
#include "threads.pml"


byte mutex = FREE;
Condition available;
short count;
byte waitingCount;
byte inside;
byte cancelled;         /* that are counted as waiting */
bool mayCancel;
bool spuriousLeft;
bool cameLate[THREADS]; /* while others were counted as waiting */
bool isIn[THREADS];     /* take */

inline take(isLimited, taken, gone) {
    lock(mutex);
    isIn[me] = true;
    taken = false;
    if
    :: count > 0 && waitingCount == 0 -> count--; taken = true
    :: else ->
        cameLate[me] = waitingCount > 0;
        waitingCount++;
        do
        :: true ->
            if
            :: fault == 4 -> unlock(mutex); available.state[me] = WAITING
            :: else -> beginToWait(available, mutex)
            fi;
            if
            :: awaitSignal(available, mutex);
               if
               :: count >= 1 || fault == 2 -> taken = true; break
               :: else
               fi
            :: atomic { spuriousLeft && available.state[me] == WAITING ->
                        spuriousLeft = false; available.state[me] = WOKEN };
               awaitSignal(available, mutex);
               if
               :: count >= 1 || fault == 2 -> taken = true; break
               :: else
               fi
            :: atomic { isLimited && available.state[me] == WAITING -> available.state[me] = NOT };
               lock(mutex);
               break
            :: atomic { mayCancel && available.state[me] == WAITING ->
                        mayCancel = false; available.state[me] = NOT };
               lock(mutex);
               gone = true;
               break
            fi
        od;
        if
        :: gone -> cancelled++
        :: !gone && (taken || fault != 5) -> waitingCount--
        :: else
        fi;
        if
        :: taken -> count--
        :: else
        fi
    fi;
    isIn[me] = false;
    cameLate[me] = false;
    unlock(mutex)
}

inline give(bound) {
    if
    :: fault == 1 -> signal(available); lock(mutex)
    :: else -> lock(mutex)
    fi;
    if
    :: count < bound -> count++
    :: else
    fi;
    if
    :: fault == 1 -> skip
    :: fault == 3 && count > 1 -> skip
    :: fault == 3 && waitingCount > 1 -> skip
    :: else ->
        if
        :: waitingCount > 0 -> signal(available)
        :: else
        fi
    fi;
    unlock(mutex)
}

proctype user(byte me) {
    byte round;
    bool taken;
    bool gone;
    for (round : 1 .. (scenario == 1 -> 1 : 2)) {
        if
        :: true -> take(false, taken, gone)
        :: scenario == 1 || scenario == 3 -> take(true, taken, gone)
        fi;
        if
        :: taken ->
            inside++;
            assert(inside == 1);
            inside--;
            give(1)
        :: else
        fi;
        if
        :: gone -> break
        :: else
        fi
    }
}

proctype taker(byte me) {
    bool taken;
    bool gone;
    take(false, taken, gone)
}

proctype giver(byte me) {
    give(2);
    give(2)
}

init {
    readSettings();
    spuriousLeft = true;
    mayCancel = scenario == 1 || scenario == 3;
    atomic {
        if
        :: scenario == 2 -> run taker(0); run taker(1); run giver(2)
        :: else -> count = 1; run user(0); run user(1); run user(2)
        fi
    }
    timeout;
    /* Nobody can go on any more. */
    byte thread;
    byte left = 0;
    assert(mutex == FREE && inside == 0);
    for (thread : 0 .. THREADS - 1) {
        assert(!isIn[thread] || cameLate[thread]);
        left = left + isIn[thread]
    }
    assert(scenario != 0 || left == 0);
    assert(waitingCount == left + cancelled);
    assert(scenario == 2 -> left < 2 && count == left : count == 1)
}
