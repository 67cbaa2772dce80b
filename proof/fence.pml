/* The fence of the attribute log (attrlog/session/Fence.h): an owner, a relay, and a leaf behind it.
 *
 *     spin -a fence.pml && cc -O2 -o pan pan.c && ./pan        (./dev prove does it)
 *
 * Each hop has a ring of one record, so that it is full nearly always, and one mark a changed key. A fence that
 * asks all, until it is applied or done, is asked by the owner at any time, goes down behind what was marked
 * before it, and is answered up. Either connection is cut at any time, and the relay crashes: each that has lost
 * its peer begins anew with a full pass, and the leaf has its copy or nothing.
 *
 * What is shown, in every order of steps:
 *   - when a side reads a fence, each value that was set before it, or a newer one, is there;
 *   - the owner hears "applied" or "done" only if the leaf has answered so, "done" only if the relay says so, too;
 *     a peer that has left never counts as one that has answered, and an answer is that to the fence asked last;
 *   - each fence is answered. All that happens is bounded by the numbers below. A search for cycles (pan -l) finds
 *     none, so that each run ends, whatever is fair, and the end is valid only with nothing unanswered.
 * What is not: changes and cuts without end, and fences that overlap: the relay passes one on at a time, while in
 * the system any number may be on their way. ./dev simulate has those.
 */

#define KEYS 2
#ifndef CHANGES
#define CHANGES 3 /* in all */
#endif
#define FENCES 2
#ifndef CUTS
#define CUTS 2 /* of any connection, and crashes */
#endif

mtype = { change, fence };

/* How far it has come, the least first. */
#define GONE 0
#define FAILED 1
#define APPLIED 2
#define DONE 3

/* Hop 0 is from the owner to the relay, hop 1 from the relay to the leaf. */
chan down0 = [1] of { mtype, byte, byte }; /* change: key, value; fence: number, what it asks for */
chan down1 = [1] of { mtype, byte, byte };
chan up0 = [1] of { byte, byte }; /* answer: number, outcome */
chan up1 = [1] of { byte, byte };

byte value[6];      /* of owner, relay, leaf: KEYS each */
bool dirty[4];      /* of each hop: the marks of its flow-out */
bool owed[4];       /* of each hop: what the fence waits for */
bool fencing[2];    /* of each hop: a fence waits behind what is owed */
bool asked[2];      /* of each hop: a fence is on its way, or its answer */
byte number;        /* of the last fence of the owner */
byte level;         /* what that asks for */
byte before[6];     /* by fence, from 1 on: the values when it was asked for */
byte changes, fences, cuts;

/* The relay: the fence that it passes on, what it says itself, and whether nobody waits for the answer any more. */
byte mine, mineLevel, own, outcome;
bool mustAnswer, isOrphan;
/* The leaf: the fence that it has read, and will answer. */
byte reached, reachedLevel;
/* What the leaf has answered last, and to which fence. */
byte leafAnswered, leafSaid;

#define VALUE(side, key) value[(side) * KEYS + (key)]
#define DIRTY(hop, key) dirty[(hop) * KEYS + (key)]
#define OWED(hop, key) owed[(hop) * KEYS + (key)]
#define NODIRTY(hop) (!DIRTY(hop, 0) && !DIRTY(hop, 1))
#define NOOWED(hop) (!OWED(hop, 0) && !OWED(hop, 1))
#define BEFORE(fence, key) before[(fence) * KEYS + (key)]
#define IS_THERE(side, fence) (VALUE(side, 0) >= BEFORE(fence, 0) && VALUE(side, 1) >= BEFORE(fence, 1))
#define LEAST(a, b) ((a) < (b) -> (a) : (b))

/* Ways to be wrong, each a rule that is dropped; check.sh must find each of them. */
#ifdef FAULT_WAITS_FOR_NOTHING
#define WAITS false
#else
#define WAITS true
#endif
#ifdef FAULT_GONE_IS_APPLIED
#define LEFT APPLIED
#else
#define LEFT GONE
#endif
#ifdef FAULT_NO_PASS_ON_A_NEW_CONNECTION
#define PASS false
#else
#define PASS true
#endif
#ifdef FAULT_ANSWERS_A_NEW_CONNECTION
#define ORPHANS false
#else
#define ORPHANS true
#endif
#ifdef FAULT_FORGETS_WHO_HAS_LEFT
#define TELLS_LEFT false
#else
#define TELLS_LEFT true
#endif
#ifdef FAULT_SENDS_FOR_EVER
#define SENT true
#else
#define SENT false
#endif
#ifdef FAULT_LEAF_ALONE_IS_DONE
#define WHOLE(leafs) (leafs)
#else
#define WHOLE(leafs) LEAST(own, leafs)
#endif

/* A change of a key on the sending side of a hop: at once if nothing waits and there is room, else a mark. */
inline tell(hop, ring, key) {
    if
    :: NODIRTY(hop) && len(ring) == 0 -> ring!change(key, VALUE(hop, key))
    :: !NODIRTY(hop) || len(ring) == 1 -> DIRTY(hop, key) = true /* a key that is owed keeps its place */
    fi
}

/* The next record of what waits on a hop: first what is owed, then a fence, else any mark. */
inline flow(hop, ring, key) {
    if
    :: OWED(hop, 0) -> key = 0
    :: OWED(hop, 1) -> key = 1
    :: NOOWED(hop) && DIRTY(hop, 0) -> key = 0
    :: NOOWED(hop) && DIRTY(hop, 1) -> key = 1
    fi;
    ring!change(key, VALUE(hop, key));
    DIRTY(hop, key) = SENT;
    OWED(hop, key) = false
}

inline raise(hop) {
    OWED(hop, 0) = DIRTY(hop, 0) && WAITS;
    OWED(hop, 1) = DIRTY(hop, 1) && WAITS;
    fencing[hop] = true;
    asked[hop] = true
}

/* What a process says of a fence that has reached it. */
inline say(asks, what) {
    if
    :: asks == APPLIED -> what = APPLIED
    :: asks == DONE -> what = DONE
    :: asks == DONE -> what = FAILED
    fi
}

/* What nobody looks at any more is 0, so that there are fewer states. */
inline forget() {
    asked[0] = false;
    level = 0;
    leafAnswered = 0;
    leafSaid = 0;
    own = 0
}
inline done() {
    mustAnswer = false;
    mine = 0;
    mineLevel = 0;
    outcome = 0
}

active proctype owner() {
    byte key, n, told;
    do
    :: atomic { changes < CHANGES ->
           changes++;
           if
           :: key = 0
           :: key = 1
           fi;
           VALUE(0, key)++;
           tell(0, down0, key);
           key = 0
       }
    :: atomic { fences < FENCES && !asked[0] ->
           fences++;
           number++;
           if
           :: level = APPLIED
           :: level = DONE
           fi;
           BEFORE(number, 0) = VALUE(0, 0);
           BEFORE(number, 1) = VALUE(0, 1);
           raise(0)
       }
    :: atomic { !NODIRTY(0) && nfull(down0) -> flow(0, down0, key); key = 0 }
    :: atomic { fencing[0] && NOOWED(0) && nfull(down0) -> down0!fence(number, level); fencing[0] = false }
    :: atomic { up0?n, told ->
           assert(asked[0] && n == number);
           assert(told < APPLIED || (leafAnswered == n && leafSaid >= APPLIED));
           assert(told != DONE || (level == DONE && leafSaid == DONE && own == DONE));
           forget();
           n = 0;
           told = 0
       }
    :: atomic { changes == CHANGES && fences == FENCES && !asked[0] && NODIRTY(0) -> break }
    od
}

active proctype relay() {
    byte key, v, n;
end:
    do
    :: atomic { down0?[change(key, v)] -> down0?change(key, v); VALUE(1, key) = v; tell(1, down1, key); key = 0; v = 0 }
    :: atomic { !asked[1] && !mustAnswer && down0?[fence(_, _)] ->
           down0?fence(mine, mineLevel);
           assert(IS_THERE(1, mine));
           say(mineLevel, own);
#ifdef FAULT_RELAY_ANSWERS_ALONE
           outcome = own;
           mustAnswer = true
#else
           raise(1)
#endif
       }
    :: atomic { !NODIRTY(1) && nfull(down1) -> flow(1, down1, key); key = 0 }
    :: atomic { fencing[1] && NOOWED(1) && nfull(down1) -> down1!fence(mine, mineLevel); fencing[1] = false }
    :: atomic { up1?n, v ->
           assert(asked[1] && n == mine);
           asked[1] = false;
           outcome = WHOLE(v);
           if
           :: isOrphan -> isOrphan = false; done()
           :: !isOrphan -> mustAnswer = true
           fi;
           n = 0;
           v = 0
       }
    :: atomic { mustAnswer && nfull(up0) -> up0!mine, outcome; done() }
    od
}

active proctype leaf() {
    byte key, v;
end:
    do
    :: atomic { down1?[change(key, v)] -> down1?change(key, v); VALUE(2, key) = v; key = 0; v = 0 }
    :: atomic { reached == 0 && down1?[fence(_, _)] ->
           down1?fence(reached, reachedLevel);
           assert(IS_THERE(2, reached))
       }
    :: atomic { reached != 0 && nfull(up1) -> /* maybe later */
           say(reachedLevel, leafSaid);
           leafAnswered = reached;
           up1!reached, leafSaid;
           reached = 0;
           reachedLevel = 0
       }
    od
}

/* A connection is lost with all that is in it; the new one gets a full pass. */
inline drop(hop, down, up) {
    do
    :: len(down) == 1 -> down?_, _, _
    :: len(down) == 0 -> break
    od;
    do
    :: len(up) == 1 -> up?_, _
    :: len(up) == 0 -> break
    od;
    fencing[hop] = false;
    OWED(hop, 0) = false;
    OWED(hop, 1) = false;
    DIRTY(hop, 0) = PASS;
    DIRTY(hop, 1) = PASS
}

inline dropLeaf() {
    drop(1, down1, up1);
    reached = 0;
    reachedLevel = 0;
    if
    :: VALUE(2, 0) = 0; VALUE(2, 1) = 0 /* another process */
    :: skip                             /* the same one, with its copy */
    fi
}

active proctype mischief() {
end:
    do
    /* Relay and leaf: the relay says of the leaf that it has left. */
    :: atomic { cuts < CUTS ->
           cuts++;
           dropLeaf();
           if
           :: asked[1] && !isOrphan -> asked[1] = false; outcome = LEFT; mustAnswer = TELLS_LEFT
           :: asked[1] && isOrphan -> asked[1] = false; isOrphan = false; done()
           :: !asked[1]
           fi
       }
    /* Owner and relay: the owner hears of its fence that the relay has left, and nobody waits for its answer. */
    :: atomic { cuts < CUTS ->
           cuts++;
           drop(0, down0, up0);
           forget();
           if
           :: mustAnswer && ORPHANS -> done()
           :: asked[1] && ORPHANS -> isOrphan = true
           :: else
           fi
       }
    /* The relay crashes, and another process is in its place. */
    :: atomic { cuts < CUTS ->
           cuts++;
           drop(0, down0, up0);
           forget();
           VALUE(1, 0) = 0;
           VALUE(1, 1) = 0;
           dropLeaf();
           asked[1] = false;
           isOrphan = false;
           done()
       }
    od
}
