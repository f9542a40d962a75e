/* One bag shared between threads. Every call locks the bag, but a getter's pointer is read
 * after the lock is released, when another thread may already have freed it: readers copy
 * values out instead, and a bag others change is merged through a snapshot. */
#include <pthread.h>
#include <stdio.h>
#include <string.h>

#include "Os/TavProperties.h"

enum { kRounds = 2000 };
static TavProperties shared;

static void* Writer(void* arg) {
    (void)arg;
    for (int i = 0; i < kRounds; ++i) {
        TavPropertiesSetIntValueCStr(&shared, "stats.frames", i, TAV_TRUE);
        TavPropertiesSetStringCStrValueCStr(&shared, "stats.state", i % 2 ? "running" : "paused",
                                            TAV_TRUE);
        if (i % 100 == 0) TavPropertiesRemovePropertyAtPathCStr(&shared, "stats.state");
    }
    return NULL;
}

static void* Reader(void* arg) {
    int* bad = (int*)arg;
    TavString state;
    TavStringConstructDefault(&state, TavAllocatorGetDefault());
    for (int i = 0; i < kRounds; ++i) {
        TavInt frames;
        /* Copied while the bag is locked; false when the entry isn't there (yet). */
        if (TavPropertiesCopyIntValueCStr(&shared, "stats.frames", &frames) &&
            (frames < 0 || frames >= kRounds))
            ++*bad;
        if (TavPropertiesCopyStringValueCStr(&shared, "stats.state", &state) &&
            strcmp(TavStringCStr(&state), "running") != 0 &&
            strcmp(TavStringCStr(&state), "paused") != 0)
            ++*bad;
    }
    TavStringDestruct(&state);
    return NULL;
}

int main(void) {
    TavPropertiesConstructDefault(&shared, TavAllocatorGetDefault());
    int bad = 0;
    pthread_t writer, reader;
    pthread_create(&writer, NULL, Writer, NULL);
    pthread_create(&reader, NULL, Reader, &bad);

    /* A consistent copy of a bag that the writer keeps changing, merged into a local one:
     * only the snapshot's lock is taken while copying, never two locks at once. */
    TavProperties local, snapshot;
    TavPropertiesConstructDefault(&local, TavAllocatorGetDefault());
    if (TavPropertiesConstructSnapshot(&snapshot, &shared)) {
        TavPropertiesMerge(&local, &snapshot);
        TavPropertiesDestruct(&snapshot);
    }

    pthread_join(writer, NULL);
    pthread_join(reader, NULL);
    TavInt frames = -1;
    TavPropertiesCopyIntValueCStr(&shared, "stats.frames", &frames);
    printf("frames %d, %d bad reads\n", (int)frames, bad);
    TavPropertiesDestruct(&local);
    TavPropertiesDestruct(&shared);
    return bad == 0 && frames == kRounds - 1 ? 0 : 1;
}
