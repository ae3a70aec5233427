/* memory.cpp -- everything a message allocates belongs to its context: the
 * guarded block chain (soap_malloc), the object list (soap_link/soap_delete),
 * the growing block lists, and the allocation tracking table with its leak
 * and double-free reports.  Not the id and pointer tables' logic (references.cpp).
 */
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "soapengine.h"

#define SOAP_FILE_TAG "soapengine"

/* ------------------------------------------------------------------------ */
/* Allocation tracking                                                       */
/* ------------------------------------------------------------------------ */

#ifdef SOAP_MEM_DEBUG

static inline size_t track_bucket(const void *p)
{
    return ((uintptr_t)p >> 3) & (SOAP_PTRHASH - 1);
}

static struct soap_track *track_find(struct soap *soap, const void *p)
{
    for (struct soap_track *t = soap->mht[track_bucket(p)]; t; t = t->next)
        if (t->ptr == p)
            return t;
    return nullptr;
}

void *soap_track_malloc(struct soap *soap, const char *file, int line, size_t size)
{
    void *p = malloc(size);
    if (!p || !soap)
        return p;
    /* A freed address that the allocator hands out again reuses its record,
     * so the table does not grow with the number of allocations. */
    struct soap_track *t = track_find(soap, p);
    if (!t) {
        t = static_cast<struct soap_track *>(malloc(sizeof(struct soap_track)));
        if (!t) {
            /* Untracked memory would be reported as "not malloced" when freed:
             * fail the whole allocation instead. */
            free(p);
            return nullptr;
        }
        size_t h = track_bucket(p);
        t->next = soap->mht[h];
        t->ptr = p;
        soap->mht[h] = t;
    }
    t->file = file;
    t->line = line;
    t->live = 1;
    return p;
}

void soap_track_free(struct soap *soap, const char *file, int line, void *p)
{
    if (!p)
        return;
    if (!soap) {
        free(p);
        return;
    }
    struct soap_track *t = track_find(soap, p);
    if (!t) {
        fprintf(stderr, "%s(%d): free(%p) pointer not malloced\n", file, line, p);
        return;
    }
    if (!t->live) {
        fprintf(stderr, "%s(%d): free(%p) double free of pointer malloced at %s(%d)\n", file, line, p,
                t->file, t->line);
        return;
    }
    free(p);
    t->live = 0;
}

void soap_track_unlink(struct soap *soap, const void *p)
{
    if (!soap || !p)
        return;
    struct soap_track *t = track_find(soap, p);
    if (t)
        t->live = 0;
}

/* A block taken again from the context's cache: its record, dead while the
 * block was kept (so that leak counts between messages see only what a
 * message holds), is live again. */
static void track_unpark(struct soap *soap, int line, const void *p)
{
    struct soap_track *t = track_find(soap, p);
    if (t) {
        t->file = SOAP_FILE_TAG;
        t->line = line;
        t->live = 1;
    }
}

/* Moves the record of p from one table to the other (delegated ownership). */
static void track_move(struct soap *from, struct soap *to, const void *p)
{
    size_t h = track_bucket(p);
    struct soap_track **tp = &from->mht[h];
    while (*tp && (*tp)->ptr != p)
        tp = &(*tp)->next;
    struct soap_track *t = *tp;
    if (!t)
        return;
    *tp = t->next;
    /* a dead record of the same address in the target would shadow nothing
     * (the moved one goes first) but would be noise: drop it */
    for (struct soap_track **q = &to->mht[h]; *q; q = &(*q)->next) {
        if ((*q)->ptr == p) {
            struct soap_track *old = *q;
            *q = old->next;
            free(old);
            break;
        }
    }
    t->next = to->mht[h];
    to->mht[h] = t;
}

void soap_track_report(struct soap *soap);
void soap_track_report(struct soap *soap)
{
    for (size_t h = 0; h < SOAP_PTRHASH; h++) {
        struct soap_track *t = soap->mht[h];
        while (t) {
            struct soap_track *next = t->next;
            if (t->live)
                fprintf(stderr, "%s(%d): malloc() = %p not freed (memory leak or forgot to call soap_end()?)\n",
                        t->file, t->line, t->ptr);
            free(t);
            t = next;
        }
        soap->mht[h] = nullptr;
    }
}

#else /* !SOAP_MEM_DEBUG: plain allocator, the table stays empty */

void *soap_track_malloc(struct soap *, const char *, int, size_t size) { return malloc(size); }
void soap_track_free(struct soap *, const char *, int, void *p) { free(p); }
void soap_track_unlink(struct soap *, const void *) {}
static void track_unpark(struct soap *, int, const void *) {}
static void track_move(struct soap *, struct soap *, const void *) {}
void soap_track_report(struct soap *soap);
void soap_track_report(struct soap *soap)
{
    for (size_t h = 0; h < SOAP_PTRHASH; h++)
        soap->mht[h] = nullptr;
}

#endif

#define MALLOC(soap, n) soap_track_malloc((soap), SOAP_FILE_TAG, __LINE__, (n))
#define FREE(soap, p) soap_track_free((soap), SOAP_FILE_TAG, __LINE__, (p))

/* ------------------------------------------------------------------------ */
/* Guarded blocks                                                            */
/* ------------------------------------------------------------------------ */

/* Block of n bytes, m = n + 2 rounded up to a multiple of 4:
 *   [0, n)            caller's bytes (the pointer handed out)
 *   [m - 2, m)        16-bit canary SOAP_CANARY
 *   [m, m + P)        next link of the chain (P = pointer size)
 *   [m + P, m + P + 4) m, 32 bits
 * The link is pointer-sized for this host and is read and written with
 * memcpy since m is only 4-aligned.  `alist` and every link point at the
 * link word of a block, so the start is link - m. */
static const size_t LINK_SIZE = sizeof(void *);

static inline void *link_next(const void *link)
{
    void *next;
    memcpy(&next, link, sizeof next);
    return next;
}

static inline void link_set_next(void *link, void *next)
{
    memcpy(link, &next, sizeof next);
}

static inline uint32_t link_size(const void *link)
{
    uint32_t m;
    memcpy(&m, static_cast<const char *>(link) + LINK_SIZE, sizeof m);
    return m;
}

static inline char *link_start(const void *link)
{
    return const_cast<char *>(static_cast<const char *>(link)) - link_size(link);
}

static inline bool link_guard_ok(const void *link)
{
    uint16_t canary;
    memcpy(&canary, static_cast<const char *>(link) - 2, sizeof canary);
    return canary == SOAP_CANARY;
}

static void report_corruption(struct soap *soap)
{
    fputs("Data corruption in dynamic allocation (see logs)\n", stderr);
    soap->error = SOAP_MOE;
}

/* ------------------------------------------------------------------------ */
/* The cache of memory kept between messages                                 */
/* ------------------------------------------------------------------------ */

/* Class k holds whole blocks of 32 << k bytes; -1: too big to keep. */
static inline int cache_class(size_t total)
{
    if (total > ((size_t)32 << (SOAP_MEMCACHE_CLASSES - 1)))
        return -1;
    int k = 0;
    while (((size_t)32 << k) < total)
        k++;
    return k;
}

/* A system block of at least `total` bytes, from the cache when it has one
 * of the class.  Cached blocks are chained through their first word. */
static void *cache_take(struct soap *soap, size_t total, int line)
{
    int k = cache_class(total);
    if (k < 0)
        return soap_track_malloc(soap, SOAP_FILE_TAG, line, total);
    void *p = soap->memcache.bins[k];
    if (!p)
        return soap_track_malloc(soap, SOAP_FILE_TAG, line, (size_t)32 << k);
    memcpy(&soap->memcache.bins[k], p, sizeof(void *));
    soap->memcache.bytes -= (size_t)32 << k;
    track_unpark(soap, line, p);
    return p;
}

/* Gives back a block of `total` bytes taken by cache_take. */
static void cache_give(struct soap *soap, void *p, size_t total)
{
    int k = cache_class(total);
    if (k < 0 || soap->memcache.bytes + ((size_t)32 << k) > SOAP_MEMCACHE_BYTES) {
        FREE(soap, p);
        return;
    }
    soap_track_unlink(soap, p);
    memcpy(p, &soap->memcache.bins[k], sizeof(void *));
    soap->memcache.bins[k] = p;
    soap->memcache.bytes += (size_t)32 << k;
}

void *soap_kept_take(struct soap *soap, size_t n)
{
    return cache_take(soap, n, __LINE__);
}

void soap_kept_give(struct soap *soap, void *p, size_t n)
{
    if (p)
        cache_give(soap, p, n);
}

static struct soap_clist *clist_take(struct soap *soap)
{
    struct soap_clist *cp = soap->memcache.clist;
    if (!cp)
        return static_cast<struct soap_clist *>(MALLOC(soap, sizeof(struct soap_clist)));
    soap->memcache.clist = cp->next;
    soap->memcache.bytes -= sizeof(struct soap_clist);
    track_unpark(soap, __LINE__, cp);
    return cp;
}

/* An object list entry that is done with (the object itself is not touched). */
void soap_clist_give(struct soap *soap, struct soap_clist *cp)
{
    if (soap->memcache.bytes + sizeof(struct soap_clist) > SOAP_MEMCACHE_BYTES) {
        FREE(soap, cp);
        return;
    }
    soap_track_unlink(soap, cp);
    cp->next = soap->memcache.clist;
    soap->memcache.clist = cp;
    soap->memcache.bytes += sizeof(struct soap_clist);
}

/* Returns the kept memory to the system; the cached blocks' tracking records
 * are dead already, so they are released untracked. */
void soap_free_memcache(struct soap *soap)
{
    for (int k = 0; k < SOAP_MEMCACHE_CLASSES; k++) {
        while (void *p = soap->memcache.bins[k]) {
            memcpy(&soap->memcache.bins[k], p, sizeof(void *));
            free(p);
        }
    }
    while (struct soap_clist *cp = soap->memcache.clist) {
        soap->memcache.clist = cp->next;
        free(cp);
    }
    soap->memcache.bytes = 0;
}

/* ------------------------------------------------------------------------ */

/* What soap_malloc(soap, 0) hands out: a shared zero word, not a block. */
static uint64_t zero_word;

void *soap_malloc(struct soap *soap, size_t n)
{
    if (n == 0)
        return &zero_word;
    if (!soap)
        return malloc(n);
    if (soap->fmalloc) {
        void *p = soap->fmalloc(soap, n);
        if (!p)
            soap->error = SOAP_EOM;
        else
            soap->alloced = 1;
        return p;
    }
    if (n > (size_t)UINT32_MAX - 8) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    size_t m = (n + 2 + 3) & ~(size_t)3;
    char *p = static_cast<char *>(cache_take(soap, m + LINK_SIZE + 4, __LINE__));
    if (!p) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    uint16_t canary = SOAP_CANARY;
    memcpy(p + m - 2, &canary, sizeof canary);
    link_set_next(p + m, soap->alist);
    uint32_t m32 = (uint32_t)m;
    memcpy(p + m + LINK_SIZE, &m32, sizeof m32);
    soap->alist = p + m;
    soap->alloced = 1;
    return p;
}

char *soap_strdup(struct soap *soap, const char *s)
{
    if (!s)
        return nullptr;
    size_t n = strlen(s) + 1;
    char *t = static_cast<char *>(soap_malloc(soap, n));
    if (t)
        memcpy(t, s, n);
    return t;
}

wchar_t *soap_wstrdup(struct soap *soap, const wchar_t *s)
{
    if (!s)
        return nullptr;
    size_t n = (wcslen(s) + 1) * sizeof(wchar_t);
    wchar_t *t = static_cast<wchar_t *>(soap_malloc(soap, n));
    if (t)
        memcpy(t, s, n);
    return t;
}

/* The attachment chains point into blocks: they go with them. */
static void clear_attachment_state(struct soap *soap)
{
    soap->mime.boundary = nullptr;
    soap->mime.start = nullptr;
    soap->mime.list = soap->mime.first = soap->mime.last = nullptr;
    soap->dime.list = soap->dime.first = soap->dime.last = nullptr;
}

void soap_dealloc(struct soap *soap, void *p)
{
    if (!soap_valid_state(soap))
        return;
    if (p) {
        /* the link field sits inside the previous block: rewrite it by memcpy */
        void *prev = nullptr;
        void *link = soap->alist;
        while (link) {
            if (!link_guard_ok(link)) {
                report_corruption(soap);
                return;
            }
            void *next = link_next(link);
            if (link_start(link) == p) {
                if (prev)
                    link_set_next(prev, next);
                else
                    soap->alist = next;
                cache_give(soap, p, link_size(link) + LINK_SIZE + 4);
                return;
            }
            prev = link;
            link = next;
        }
        soap_delete(soap, p);
        return;
    }
    while (soap->alist) {
        void *link = soap->alist;
        if (!link_guard_ok(link)) {
            report_corruption(soap);
            break;
        }
        soap->alist = link_next(link);
        cache_give(soap, link_start(link), link_size(link) + LINK_SIZE + 4);
    }
    soap->http_content = nullptr;
    soap->userid = nullptr;
    soap->passwd = nullptr;
    soap->authrealm = nullptr;
    soap->action = nullptr;
    soap->header = nullptr;
    soap->fault = nullptr;
    clear_attachment_state(soap);
}

/* ------------------------------------------------------------------------ */
/* Objects                                                                   */
/* ------------------------------------------------------------------------ */

struct soap_clist *soap_link(struct soap *soap, void *p, int type, int size,
                             int (*fdelete)(struct soap_clist *))
{
    if (!soap || !p)
        return nullptr;
    struct soap_clist *cp = clist_take(soap);
    if (!cp) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    cp->next = soap->clist;
    cp->ptr = p;
    cp->type = type;
    cp->size = size;
    cp->fdelete = fdelete;
    soap->clist = cp;
    return cp;
}

static void delete_entry(struct soap *soap, struct soap_clist *cp)
{
    if (cp->fdelete && cp->fdelete(cp))
        fprintf(stderr, "new(object type = %d) = %p not freed: deletion callback failed\n", cp->type, cp->ptr);
    soap_clist_give(soap, cp);
}

void soap_delete(struct soap *soap, void *p)
{
    if (!soap_valid_state(soap))
        return;
    if (!p) {
        while (soap->clist) {
            struct soap_clist *cp = soap->clist;
            soap->clist = cp->next;
            delete_entry(soap, cp);
        }
        soap->header = nullptr;
        soap->fault = nullptr;
        return;
    }
    for (struct soap_clist **cpp = &soap->clist; *cpp; cpp = &(*cpp)->next) {
        if ((*cpp)->ptr == p) {
            struct soap_clist *cp = *cpp;
            *cpp = cp->next;
            delete_entry(soap, cp);
            return;
        }
    }
    soap->header = nullptr;
    soap->fault = nullptr;
}

int soap_unlink(struct soap *soap, const void *p)
{
    if (!soap || !p)
        return -1;
    void *prev = nullptr;
    for (void *link = soap->alist; link;) {
        void *next = link_next(link);
        if (link_start(link) == p) {
            if (prev)
                link_set_next(prev, next);
            else
                soap->alist = next;
            soap_track_unlink(soap, p);
            return 0;
        }
        prev = link;
        link = next;
    }
    for (struct soap_clist **cpp = &soap->clist; *cpp; cpp = &(*cpp)->next) {
        if ((*cpp)->ptr == p) {
            struct soap_clist *cp = *cpp;
            *cpp = cp->next;
            soap_clist_give(soap, cp);
            return 0;
        }
    }
    return -1;
}

void soap_delegate_deletion(struct soap *soap, struct soap *target)
{
    if (!soap || !target || soap == target)
        return;
    void *last = nullptr;
    for (void *link = soap->alist; link; link = link_next(link)) {
        if (!link_guard_ok(link)) {
            report_corruption(soap);
            return;
        }
        last = link;
    }
    for (void *link = soap->alist; link; link = link_next(link))
        track_move(soap, target, link_start(link));
    if (last) {
        link_set_next(last, target->alist);
        target->alist = soap->alist;
        soap->alist = nullptr;
    }
    if (soap->clist) {
        struct soap_clist **cpp = &target->clist;
        while (*cpp)
            cpp = &(*cpp)->next;
        *cpp = soap->clist;
        /* object list entries are tracked allocations too */
        for (struct soap_clist *cp = soap->clist; cp; cp = cp->next)
            track_move(soap, target, cp);
        soap->clist = nullptr;
    }
}

/* ------------------------------------------------------------------------ */
/* Block lists                                                               */
/* ------------------------------------------------------------------------ */

/* Two-word head in front of each block's payload. */
struct blk_head {
    char *next;   /* next block (head address) */
    size_t size;  /* payload bytes */
};

static inline blk_head *head_of(char *blk) { return reinterpret_cast<blk_head *>(blk); }
static inline char *payload_of(char *blk) { return blk + sizeof(blk_head); }

struct soap_blist *soap_new_block(struct soap *soap)
{
    struct soap_blist *b = static_cast<struct soap_blist *>(MALLOC(soap, sizeof(struct soap_blist)));
    if (!b) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    b->next = soap->blist;
    b->ptr = nullptr;
    b->size = 0;
    soap->blist = b;
    return b;
}

static struct soap_blist *list_or_top(struct soap *soap, struct soap_blist *b)
{
    return b ? b : soap->blist;
}

void *soap_push_block(struct soap *soap, struct soap_blist *b, size_t n)
{
    b = list_or_top(soap, b);
    if (!b && !(b = soap_new_block(soap)))
        return nullptr;
    if (n > SIZE_MAX - sizeof(blk_head)) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    char *blk = static_cast<char *>(MALLOC(soap, n + sizeof(blk_head)));
    if (!blk) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    head_of(blk)->next = b->ptr;
    head_of(blk)->size = n;
    b->ptr = blk;
    b->size += n;
    return payload_of(blk);
}

void soap_pop_block(struct soap *soap, struct soap_blist *b)
{
    b = list_or_top(soap, b);
    if (!b || !b->ptr)
        return;
    char *blk = b->ptr;
    b->ptr = head_of(blk)->next;
    b->size -= head_of(blk)->size;
    FREE(soap, blk);
}

char *soap_first_block(struct soap *soap, struct soap_blist *b)
{
    b = list_or_top(soap, b);
    if (!b)
        return nullptr;
    char *prev = nullptr;
    char *blk = b->ptr;
    while (blk) {
        char *next = head_of(blk)->next;
        head_of(blk)->next = prev;
        prev = blk;
        blk = next;
    }
    b->ptr = prev;
    return prev ? payload_of(prev) : nullptr;
}

char *soap_next_block(struct soap *soap, struct soap_blist *b)
{
    b = list_or_top(soap, b);
    if (!b || !b->ptr)
        return nullptr;
    char *blk = b->ptr;
    b->ptr = head_of(blk)->next;
    b->size -= head_of(blk)->size;
    FREE(soap, blk);
    return b->ptr ? payload_of(b->ptr) : nullptr;
}

size_t soap_block_size(struct soap *soap, struct soap_blist *b)
{
    b = list_or_top(soap, b);
    if (!b || !b->ptr)
        return 0;
    return head_of(b->ptr)->size;
}

size_t soap_size_block(struct soap *soap, struct soap_blist *b, size_t n)
{
    b = list_or_top(soap, b);
    if (!b)
        return 0;
    if (b->ptr) {
        b->size -= head_of(b->ptr)->size;
        head_of(b->ptr)->size = n;
        b->size += n;
    }
    return b->size;
}

void soap_end_block(struct soap *soap, struct soap_blist *b)
{
    b = list_or_top(soap, b);
    if (!b)
        return;
    char *blk = b->ptr;
    while (blk) {
        char *next = head_of(blk)->next;
        FREE(soap, blk);
        blk = next;
    }
    for (struct soap_blist **bp = &soap->blist; *bp; bp = &(*bp)->next) {
        if (*bp == b) {
            *bp = b->next;
            break;
        }
    }
    FREE(soap, b);
}

char *soap_save_block(struct soap *soap, struct soap_blist *b, char *target, int relocate)
{
    b = list_or_top(soap, b);
    if (!b)
        return target;
    if (b->size) {
        if (!target) {
            target = static_cast<char *>(soap_malloc(soap, b->size));
            if (!target) {
                soap->error = SOAP_EOM;
                soap_end_block(soap, b);
                return nullptr;
            }
        }
        char *t = target;
        for (char *s = soap_first_block(soap, b); s; s = soap_next_block(soap, b)) {
            size_t n = soap_block_size(soap, b);
            if (relocate)
                soap_update_pointers(soap, s, s + n, t, s);
            memcpy(t, s, n);
            t += n;
        }
    }
    soap_end_block(soap, b);
    return target;
}

/* ------------------------------------------------------------------------ */
/* Per-message temporaries                                                   */
/* ------------------------------------------------------------------------ */

void soap_free_temp(struct soap *soap)
{
    soap_free_ns(soap);
    while (soap->blist)
        soap_end_block(soap, soap->blist);
    while (soap->attributes) {
        struct soap_attribute *tp = soap->attributes;
        soap->attributes = tp->next;
        if (tp->value)
            FREE(soap, tp->value);
        FREE(soap, tp);
    }
    if (soap->labbuf)
        FREE(soap, soap->labbuf);
    soap->labbuf = nullptr;
    soap->lablen = 0;
    soap->labidx = 0;
    if (soap->local_namespaces) {
        for (struct Namespace *ns = soap->local_namespaces; ns->id; ns++) {
            if (soap->encodingStyle && (soap->encodingStyle == ns->out || soap->encodingStyle == ns->ns))
                soap->encodingStyle = "";
            if (ns->out) {
                FREE(soap, ns->out);
                ns->out = nullptr;
            }
        }
        FREE(soap, soap->local_namespaces);
        soap->local_namespaces = nullptr;
    }
    while (soap->xlist) {
        struct soap_xlist *xp = soap->xlist;
        soap->xlist = xp->next;
        FREE(soap, xp);
    }
    soap_free_pht(soap);
    soap_free_iht(soap);
}
