/* A caller's allocator: every byte of a bag comes from it and goes back to it with the size it
 * was taken with, so an allocator may keep pools by size, count, or refuse. This one counts
 * and can be told to refuse, to show that a refused allocation is a clean failure. */
#include <stdio.h>
#include <stdlib.h>

#include "Os/TavProperties.h"

typedef struct {
    size_t live;  /* bytes taken and not yet given back */
    size_t peak;
    int refuse;   /* when set, every allocation fails */
} Budget;

static void* Allocate(TavAllocator* a, TavSizeT n) {
    Budget* b = (Budget*)a->userData;
    if (b->refuse) return NULL;
    void* p = malloc(n);
    if (p != NULL && (b->live += n) > b->peak) b->peak = b->live;
    return p;
}

static void Deallocate(TavAllocator* a, void* p, TavSizeT n) {
    ((Budget*)a->userData)->live -= n; /* the size comes back with the block */
    free(p);
}

int main(void) {
    Budget budget = {0, 0, 0};
    TavAllocator counting = {Allocate, Deallocate, (TavSizeT)-1, &budget};

    TavProperties bag;
    TavPropertiesConstructDefault(&bag, &counting); /* the bag and all it holds use it */
    TavPropertiesSetIntValueCStr(&bag, "video.width", 640, TAV_TRUE);
    TavPropertiesSetStringCStrValueCStr(&bag, "video.codec", "h264", TAV_TRUE);
    printf("in use: %zu bytes\n", budget.live);

    /* Out of memory: the set fails and changes nothing. */
    budget.refuse = 1;
    int refused = !TavPropertiesSetIntValueCStr(&bag, "audio.rate", 48000, TAV_TRUE) &&
                  TavPropertiesGetPropertyAtPathCStrConst(&bag, "audio") == NULL;
    budget.refuse = 0;

    TavPropertiesDestruct(&bag);
    printf("after destruction: %zu bytes in use (peak %zu)\n", budget.live, budget.peak);
    return refused && budget.live == 0 ? 0 : 1;
}
