/* Kinds of events, as members of sets. */
#define BOUND 1
#define CONNECTED 2
#define PUBLISHED 4
#define UNPUBLISHED 8
#define FAILED 16
#define UNKNOWN 32
