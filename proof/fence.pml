/* The fence of the attribute log (attrlog/session/Fence.h): an owner, a relay, and a leaf behind it.
 *
 *     spin -a fence.pml && cc -O2 -o pan pan.c && ./pan        (./dev prove does it)
 *
 * Each hop has a ring of one record, so that it is full nearly always, and one mark a changed key. A fence that
 * asks all is asked by the owner at any time, goes down behind what was marked before it, and is answered up. The
 * connection to the leaf is cut at any time: the leaf keeps what it has or begins anew, and gets a full pass.
 *
 * What is shown, in every order of steps:
 *   - when a side answers, each value that was set before the fence, or a newer one, is there;
 *   - the owner hears "applied" only if the leaf has answered, and a peer that has left never counts as one;
 *   - each fence is answered, however the changes go on.
 */

#define KEYS 2
#define CHANGES 4 /* in all */
#define FENCES 2
#define CUTS 1

mtype = { change, fence, applied, gone };

/* Hop 0 is from the owner to the relay, hop 1 from the relay to the leaf. */
chan down0 = [1] of { mtype, byte, byte }; /* change: key, value; fence: number */
chan down1 = [1] of { mtype, byte, byte };
chan up0 = [1] of { mtype, byte }; /* answer: number */
chan up1 = [1] of { mtype, byte };

byte value[6];      /* of owner, relay, leaf: KEYS each */
bool dirty[4];      /* of each hop: the marks of its flow-out */
bool owed[4];       /* of each hop: what the fence waits for */
bool fencing[2];    /* of each hop: a fence waits behind what is owed */
bool asked[2];      /* of each hop: a fence is on its way, or its answer */
byte number;        /* of the last fence of the owner */
byte before[KEYS];  /* the values when it was asked for */
byte leafAnswered;  /* the last fence that the leaf has answered */
byte changes, fences, cuts;

#define VALUE(side, key) value[(side) * KEYS + (key)]
#define DIRTY(hop, key) dirty[(hop) * KEYS + (key)]
#define OWED(hop, key) owed[(hop) * KEYS + (key)]
#define NODIRTY(hop) (!DIRTY(hop, 0) && !DIRTY(hop, 1))
#define NOOWED(hop) (!OWED(hop, 0) && !OWED(hop, 1))

/* Ways to be wrong, each of which must be found: a fence that waits for nothing, a peer that has left counted as one
 * that has answered, a relay that answers for itself alone. */
#ifdef FAULT_WAITS_FOR_NOTHING
#define WAITS false
#else
#define WAITS true
#endif
#ifdef FAULT_GONE_IS_APPLIED
#define LEFT applied
#else
#define LEFT gone
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
    DIRTY(hop, key) = false;
    OWED(hop, key) = false
}

inline raise(hop) {
    OWED(hop, 0) = DIRTY(hop, 0) && WAITS;
    OWED(hop, 1) = DIRTY(hop, 1) && WAITS;
    fencing[hop] = true;
    asked[hop] = true
}

active proctype owner() {
    byte key, n;
    do
    :: atomic { changes < CHANGES ->
           changes++;
           if
           :: key = 0
           :: key = 1
           fi;
           VALUE(0, key)++;
           tell(0, down0, key)
       }
    :: atomic { fences < FENCES && !asked[0] ->
           fences++;
           number++;
           before[0] = VALUE(0, 0);
           before[1] = VALUE(0, 1);
           raise(0)
       }
    :: atomic { !NODIRTY(0) && nfull(down0) -> flow(0, down0, key) }
    :: atomic { fencing[0] && NOOWED(0) && nfull(down0) -> down0!fence(number, 0); fencing[0] = false }
    :: atomic { up0?applied(n) ->
           assert(n == number && leafAnswered == n);
           asked[0] = false
       }
    :: atomic { up0?gone(n) -> assert(n == number); asked[0] = false }
    :: atomic { changes == CHANGES && fences == FENCES && !asked[0] && NODIRTY(0) -> break }
    od
}

active proctype relay() {
    byte key, v, n, mine;
    bool mustAnswer = false;
    mtype outcome;
end:
    do
    :: atomic { down0?change(key, v) -> VALUE(1, key) = v; tell(1, down1, key) }
    :: atomic { down0?fence(mine, _) ->
           assert(VALUE(1, 0) >= before[0] && VALUE(1, 1) >= before[1]);
#ifdef FAULT_RELAY_ANSWERS_ALONE
           outcome = applied;
           mustAnswer = true
#else
           raise(1)
#endif
       }
    :: atomic { !NODIRTY(1) && nfull(down1) -> flow(1, down1, key) }
    :: atomic { fencing[1] && NOOWED(1) && nfull(down1) -> down1!fence(mine, 0); fencing[1] = false }
    :: atomic { up1?applied(n) -> assert(asked[1] && n == mine); asked[1] = false; outcome = applied; mustAnswer = true }
    :: atomic { mustAnswer && nfull(up0) ->
           if
           :: outcome == applied -> up0!applied(mine)
           :: outcome != applied -> up0!gone(mine)
           fi;
           mustAnswer = false
       }
    /* The connection to the leaf is lost, with all that is in it; a new one gets a full pass. */
    :: atomic { cuts < CUTS ->
           cuts++;
           do
           :: len(down1) == 1 -> down1?_, _, _
           :: len(down1) == 0 -> break
           od;
           do
           :: len(up1) == 1 -> up1?_, _
           :: len(up1) == 0 -> break
           od;
           if
           :: asked[1] -> asked[1] = false; fencing[1] = false; outcome = LEFT; mustAnswer = true
           :: !asked[1]
           fi;
           OWED(1, 0) = false;
           OWED(1, 1) = false;
           DIRTY(1, 0) = true;
           DIRTY(1, 1) = true;
           if
           :: VALUE(2, 0) = 0; VALUE(2, 1) = 0 /* another process */
           :: skip                             /* the same one, with its copy */
           fi
       }
    od
}

active proctype leaf() {
    byte key, v;
end:
    do
    :: atomic { down1?change(key, v) -> VALUE(2, key) = v }
    :: atomic { nfull(up1) && down1?[fence(key, v)] ->
           down1?fence(key, v);
           assert(VALUE(2, 0) >= before[0] && VALUE(2, 1) >= before[1]);
           leafAnswered = key;
           up1!applied(key)
       }
    od
}
