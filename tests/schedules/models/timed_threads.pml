/* A factory of timed threads, of which one is deleted while its work wants the factory's list.
 *
 * Process 0 is the work's thread, 1 deletes its timed thread, and 2 is another user of the list.
 * The work has no cancellation point, so its thread can be joined only when it is done.
 *
 * Scenarios:
 *   0  the other is no work: it waits for the list in the lock's own queue
 *   1  the other is the work of another timed thread, which nobody deletes
 *   2  a client runs the work and waits for it without limit, and the other forces it to go on
 *
 * Faults: 1 a loan is for work only that is known already; 2 a loan is told to nobody; 3 the lock is
 * given back and those who wait for a loan are not told; 4 work waits in the lock's own queue; 5 who
 * deletes does not wait for the work; 6 ends are noted, but not signalled.
 */
#define THREADS 3
#define SELF me
#include "threads.pml"

byte works = FREE;   /* a mutex */
Condition changed;
bool isKnown;        /* the work has begun */
bool isLent;
byte list = FREE;    /* the mutex of the lock */
Condition available;
byte count = 1;
byte waitingCount;
byte users;          /* of the list that have no loan */
bool workHasEnded;
byte completion = FREE; /* the mutex of the event */
Condition completed;
bool isCompleted;
bool isDone[THREADS];

inline takeAtOnce(taken) {
    lock(list);
    taken = count > 0 && waitingCount == 0;
    count = (taken -> count - 1 : count);
    unlock(list)
}

inline take() {
    lock(list);
    if
    :: count > 0 && waitingCount == 0
    :: else ->
        waitingCount++;
        wait(available, list);
        do
        :: count >= 1 -> break
        :: else -> wait(available, list)
        od;
        waitingCount--
    fi;
    count--;
    unlock(list)
}

inline give() {
    lock(list);
    count++;
    if
    :: waitingCount > 0 -> signal(available)
    :: else
    fi;
    unlock(list);
    lock(works);
    if
    :: fault != 3 -> broadcast(changed)
    :: else
    fi;
    unlock(works)
}

inline useAlone() {
    users++;
    assert(users == 1);
    users--
}

inline complete() {
    lock(completion);
    isCompleted = true;
    if
    :: fault != 6 -> signal(completed)
    :: else
    fi;
    unlock(completion)
}

/* How work gets at the list; mayBorrow is the one whose timed thread is being deleted. */
inline useAsWork(mayBorrow) {
    if
    :: fault == 4 -> take()
    :: else ->
        lock(works);
        do
        :: mayBorrow && isLent -> borrowed = true; break
        :: else ->
            takeAtOnce(taken);
            if
            :: taken -> break
            :: else -> wait(changed, works)
            fi
        od;
        unlock(works)
    fi;
    if
    :: borrowed -> assert(!workHasEnded && isLent)
    :: else -> useAlone(); give()
    fi
}

proctype work(byte me) {
    bool taken;
    bool borrowed;
    lock(works);
    isKnown = true;
    unlock(works);
    if
    :: scenario == 2
    :: else -> useAsWork(true)
    fi;
    lock(works);
    isKnown = false;
    unlock(works);
    complete();
    workHasEnded = true;
    isDone[me] = true
}

proctype deleter(byte me) {
    take();
    lock(works);
    isLent = (fault == 1 -> isKnown : true);
    if
    :: fault != 2 -> broadcast(changed)
    :: else
    fi;
    unlock(works);
    workHasEnded || fault == 5;
    lock(works);
    isLent = false;
    unlock(works);
    useAlone();
    give();
    isDone[me] = true
}

proctype other(byte me) {
    bool taken;
    bool borrowed;
    if
    :: scenario == 0 -> take(); useAlone(); give()
    :: else -> useAsWork(false)
    fi;
    isDone[me] = true
}

proctype runner(byte me) {
    lock(completion);
    do
    :: isCompleted -> break
    :: else -> wait(completed, completion)
    od;
    isCompleted = false;
    unlock(completion);
    workHasEnded; /* by its join */
    isDone[me] = true
}

proctype forcer(byte me) {
    complete();
    isDone[me] = true
}

init {
    readSettings();
    atomic {
        run work(0);
        if
        :: scenario == 2 -> run runner(1); run forcer(2)
        :: else -> run deleter(1); run other(2)
        fi
    }
    timeout;
    /* Nobody can go on any more. */
    assert(isDone[0] && isDone[1] && isDone[2]);
    assert(works == FREE && list == FREE && count == 1 && waitingCount == 0 && users == 0)
}
