/* xml_alloc_count.h -- the C heap as the XML benchmarks see it (xml_alloc_count.cpp stands in front
 * of glibc's malloc, calloc, realloc and free): counts of the calls, for the "allocations per
 * message" figures, and a prototype message arena that, while armed, serves every allocation from
 * one reusable region, to measure what reading would cost if a context kept its memory between
 * messages.  Not a leak checker, and not an allocator for the library.
 */
#ifndef ORVSOAP_BENCH_XML_ALLOC_COUNT_H
#define ORVSOAP_BENCH_XML_ALLOC_COUNT_H

#include <cstddef>

namespace xmlbench {

struct AllocCount {
    size_t allocs;   /* malloc, calloc, and realloc of a null pointer */
    size_t reallocs; /* realloc of a live block */
    size_t frees;    /* free of a non-null pointer */
    size_t bytes;    /* bytes asked for by allocs and reallocs */
};

/* The counts so far. */
AllocCount alloc_count();

/* b - a, field by field. */
inline AllocCount alloc_diff(const AllocCount &a, const AllocCount &b)
{
    return {b.allocs - a.allocs, b.reallocs - a.reallocs, b.frees - a.frees, b.bytes - a.bytes};
}

/* Arena prototype.  arena_arm: allocations from here on are carved from a region of `cap` bytes
   (made once; beyond it they fall back to the heap) and their frees cost nothing.  arena_disarm:
   back to the heap (frees of arena blocks are still recognised).  arena_reset: the region is
   reused from its start; only when arena_live() is 0, else it returns false and keeps it. */
void arena_arm(size_t cap);
void arena_disarm();
size_t arena_live();
bool arena_reset();

}  // namespace xmlbench

#endif
