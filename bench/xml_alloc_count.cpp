/* xml_alloc_count.cpp -- stands in front of glibc's malloc, calloc, realloc and free: counts the
 * calls of the whole process (the engine, the C++ runtime, libxml2, pugixml), and serves them from
 * the prototype message arena while it is armed.  Single threaded; glibc's own entry points do the
 * work otherwise.  Not used outside the benchmarks.
 */
#include "xml_alloc_count.h"

#include <cstdint>
#include <cstring>

/* Under AddressSanitizer the sanitizer owns malloc: nothing is counted and the arena stays off. */
#if defined(__SANITIZE_ADDRESS__)
#define XMLBENCH_NO_INTERPOSE 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define XMLBENCH_NO_INTERPOSE 1
#endif
#endif

#ifdef XMLBENCH_NO_INTERPOSE

xmlbench::AllocCount xmlbench::alloc_count() { return {0, 0, 0, 0}; }
void xmlbench::arena_arm(size_t) {}
void xmlbench::arena_disarm() {}
size_t xmlbench::arena_live() { return 0; }
bool xmlbench::arena_reset() { return true; }

#else

extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void __libc_free(void *);
}

namespace {

xmlbench::AllocCount g_count;

/* The arena: [base, base + cap), blocks of a 16-byte head (the size) and the caller's bytes. */
struct Arena {
    char *base = nullptr;
    size_t cap = 0;
    size_t top = 0;
    size_t live = 0;
    bool armed = false;
};
Arena g_arena;

inline bool in_arena(const void *p)
{
    const char *c = static_cast<const char *>(p);
    return g_arena.base && c >= g_arena.base && c < g_arena.base + g_arena.cap;
}

inline size_t arena_size_of(const void *p)
{
    size_t n;
    std::memcpy(&n, static_cast<const char *>(p) - 16, sizeof n);
    return n;
}

void *arena_take(size_t n)
{
    size_t need = 16 + ((n + 15) & ~static_cast<size_t>(15));
    if (need < n || g_arena.top + need > g_arena.cap)
        return nullptr;
    char *p = g_arena.base + g_arena.top + 16;
    std::memcpy(p - 16, &n, sizeof n);
    g_arena.top += need;
    g_arena.live++;
    return p;
}

}  // namespace

extern "C" void *malloc(size_t n)
{
    g_count.allocs++;
    g_count.bytes += n;
    if (g_arena.armed)
        if (void *p = arena_take(n))
            return p;
    return __libc_malloc(n);
}

extern "C" void *calloc(size_t n, size_t m)
{
    g_count.allocs++;
    g_count.bytes += n * m;
    if (g_arena.armed && (m == 0 || n <= SIZE_MAX / m))
        if (void *p = arena_take(n * m)) {
            std::memset(p, 0, n * m);
            return p;
        }
    return __libc_calloc(n, m);
}

extern "C" void free(void *p)
{
    if (!p)
        return;
    g_count.frees++;
    if (in_arena(p)) {
        g_arena.live--;
        return;
    }
    __libc_free(p);
}

extern "C" void *realloc(void *p, size_t n)
{
    if (!p)
        return malloc(n);
    g_count.reallocs++;
    g_count.bytes += n;
    if (!in_arena(p))
        return __libc_realloc(p, n);
    size_t old = arena_size_of(p);
    void *q = g_arena.armed ? arena_take(n) : nullptr;
    if (!q)
        q = __libc_malloc(n);
    if (!q)
        return nullptr;
    std::memcpy(q, p, old < n ? old : n);
    g_arena.live--;
    return q;
}

xmlbench::AllocCount xmlbench::alloc_count()
{
    return g_count;
}

void xmlbench::arena_arm(size_t cap)
{
    if (!g_arena.base) {
        g_arena.base = static_cast<char *>(__libc_malloc(cap));
        g_arena.cap = g_arena.base ? cap : 0;
    }
    g_arena.armed = g_arena.base != nullptr;
}

void xmlbench::arena_disarm()
{
    g_arena.armed = false;
}

size_t xmlbench::arena_live()
{
    return g_arena.live;
}

bool xmlbench::arena_reset()
{
    if (g_arena.live)
        return false;
    g_arena.top = 0;
    return true;
}

#endif /* XMLBENCH_NO_INTERPOSE */
