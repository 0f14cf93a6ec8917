/* A model of the lock word's acquire, release and wait (lock.cpp), for spin.
 *
 * Two words, X and Y, hash to one wait slot. The model keeps what the
 * protocol depends on: the word's value (exclusive holders only: a writer
 * needs the whole word 0, which is what makes a reader's wait the same case),
 * the slot's count of registered waiters, and the system's sleep on an
 * address, which compares and sleeps in one step and is ended by a wake of
 * that address, by the timeout, or for no reason at all (the system allows
 * spurious wake-ups).
 *
 * Checked exhaustively, by check_lock_model.sh:
 *   - mutual exclusion: at most one holder of each word (the assertion);
 *   - no lost wake-up and no deadlock: every process reaches its end. A
 *     thread asleep for good while its word is free is a state where nothing
 *     can move, which spin reports as an invalid end state.
 *
 * With -DSEMAPHORE_SLOTS the sleep is the earlier design instead: one
 * counting semaphore per slot, released `waiters` times by a release. Spin
 * then finds the lost wake-up: a try with timeout 0 on Y takes the count
 * meant for the waiter of X, which sleeps on although X is free.
 */

#define X 0
#define Y 1
#define THREADS 4

byte word[2];          /* 1 while held: the writer's increment */
byte holders[2];       /* threads inside, for the assertion */
byte waiters;          /* the slot's registration count */

#ifdef SEMAPHORE_SLOTS
byte semaphore;        /* the slot's semaphore count */
#else
bool asleep[THREADS];  /* asleep on the address of sleepWord[i] */
byte sleepWord[THREADS];
#endif

/* Sleeps until woken or, when `timed`, until the timeout; `v` is the value
 * last seen. Sets `timedOut`. */
inline sleep(me, w, v, timed, timedOut) {
#ifdef SEMAPHORE_SLOTS
  if
  :: atomic { semaphore > 0 -> semaphore-- }
  :: timed -> timedOut = true
  fi
#else
  atomic {
    if
    :: word[w] == v -> asleep[me] = true; sleepWord[me] = w
    :: else -> skip          /* the word changed: no sleep at all */
    fi
  }
  if
  :: atomic { !asleep[me] -> skip }                        /* woken */
  :: atomic { asleep[me] -> asleep[me] = false }           /* spurious */
  :: timed -> atomic { asleep[me] = false; timedOut = true }
  fi
#endif
}

/* readWriteLockLock(word[w], writer, whole word, timed ? finite : INFINITE);
 * `try` is the timeout of 0. */
inline acquire(me, w, timed, try, got) {
  byte v;
  bool timedOut = false;
  got = false;
  do
  :: v = word[w];
     if
     :: v != 0 ->
        atomic { waiters++ };
        do
        :: v = word[w];
           if
           :: v == 0 -> break
           :: else -> skip
           fi;
#ifdef SEMAPHORE_SLOTS
           sleep(me, w, v, timed || try, timedOut);
#else
           if
           :: try -> timedOut = true
           :: else -> sleep(me, w, v, timed, timedOut)
           fi;
#endif
           if
           :: timedOut -> break
           :: else -> skip
           fi
        od;
        atomic { waiters-- };
        if
        :: timedOut -> break
        :: else -> skip
        fi
     :: else -> skip
     fi;
     atomic {
       if
       :: word[w] == v -> word[w] = 1; got = true
       :: else -> skip       /* changed meanwhile: the full test again */
       fi
     };
     if
     :: got -> break
     :: else -> skip
     fi
  od
}

/* readWriteLockUnlock(word[w], writer). */
inline release(me, w) {
  word[w] = 0;
  if
  :: waiters > 0 ->
#ifdef SEMAPHORE_SLOTS
     atomic { semaphore = semaphore + waiters }
#else
     atomic {
       byte i = 0;
       do
       :: i < THREADS ->
          if
          :: asleep[i] && sleepWord[i] == w -> asleep[i] = false
          :: else -> skip
          fi;
          i++
       :: else -> break
       od
     }
#endif
  :: else -> skip
  fi
}

inline critical(w) {
  holders[w]++;
  assert(holders[w] == 1);
  holders[w]--
}

/* Takes `w` `rounds` times, waiting without limit, or with a timeout. */
proctype locker(byte me; byte w; byte rounds; bool timed) {
  bool got;
  byte n = 0;
  do
  :: n < rounds ->
     acquire(me, w, timed, false, got);
     if
     :: got -> critical(w); release(me, w)
     :: else -> assert(timed)
     fi;
     n++
  :: else -> break
  od
}

/* Tries `w` with timeout 0, `rounds` times. */
proctype tryer(byte me; byte w; byte rounds) {
  bool got;
  byte n = 0;
  do
  :: n < rounds ->
     acquire(me, w, false, true, got);
     if
     :: got -> critical(w); release(me, w)
     :: else -> skip
     fi;
     n++
  :: else -> break
  od
}

/* Y is held for good by a thread outside the model, so that no release of
 * Y can make up for a wake-up lost on X. */
init {
  atomic {
    word[Y] = 1;
    run locker(0, X, 2, false);   /* two threads contend for X without limit */
    run locker(1, X, 1, false);
    run locker(2, Y, 1, true);    /* Y waited for with a timeout ... */
    run tryer(3, Y, 2)            /* ... and tried with timeout 0 */
  }
}
