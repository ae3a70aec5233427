/* references.cpp -- the id table (input: id/href resolution, forward
 * references, attachment references) and the pointer table (output: finding
 * objects reached more than once), plus the array size attribute parsers.
 * Not the writing of id/href attributes (writer.cpp).
 */
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "soapengine.h"

#define SOAP_FILE_TAG "soapengine"
#define MALLOC(soap, n) soap_track_malloc((soap), SOAP_FILE_TAG, __LINE__, (n))
#define FREE(soap, p) soap_track_free((soap), SOAP_FILE_TAG, __LINE__, (p))

/* Index of the first bucket of the id table from i on that holds an entry,
 * SOAP_IDHASH for none; most messages have no ids, and then no bucket is
 * looked at. */
static inline size_t next_used(const struct soap *soap, size_t i)
{
    if (!soap->iht_used)
        return SOAP_IDHASH;
    while (i < SOAP_IDHASH && !soap->iht[i])
        i++;
    return i;
}

#define EACH_USED_BUCKET(soap, i) \
    for (size_t i = next_used((soap), 0); i < SOAP_IDHASH; i = next_used((soap), i + 1))

static inline size_t ptr_bucket(const void *p)
{
    return ((uintptr_t)p >> 3) & (SOAP_PTRHASH - 1);
}

void soap_free_pht(struct soap *soap)
{
    struct soap_pblk *pb = soap->pblk;
    if (!pb) {
        /* every record lives in a block: no block, no bucket in use */
        soap->pidx = 0;
        return;
    }
    /* Plain records are unhooked from their own buckets.  An array record's
     * bucket comes from the array's data, which may be gone by now: with one
     * of those, or with more records than buckets, the table is wiped. */
    size_t n = 0;
    bool arrays = false;
    for (struct soap_pblk *b = pb; b && !arrays; b = b->next) {
        size_t used = b == pb ? (size_t)soap->pidx : SOAP_PTRBLK;
        n += used;
        for (size_t k = 0; k < used; k++)
            if (b->plist[k].array)
                arrays = true;
    }
    if (!arrays && n <= SOAP_PTRHASH) {
        for (struct soap_pblk *b = pb; b; b = b->next) {
            size_t used = b == pb ? (size_t)soap->pidx : SOAP_PTRBLK;
            for (size_t k = 0; k < used; k++)
                soap->pht[ptr_bucket(b->plist[k].ptr)] = nullptr;
        }
    } else {
        for (size_t i = 0; i < SOAP_PTRHASH; i++)
            soap->pht[i] = nullptr;
    }
    while (pb) {
        struct soap_pblk *next = pb->next;
        soap_kept_give(soap, pb, sizeof(struct soap_pblk));
        pb = next;
    }
    soap->pblk = nullptr;
    soap->pidx = 0;
}

void soap_free_iht(struct soap *soap)
{
    EACH_USED_BUCKET(soap, i) {
        struct soap_ilist *ip = soap->iht[i];
        while (ip) {
            struct soap_ilist *next = ip->next;
            struct soap_flist *fp = ip->flist;
            while (fp) {
                struct soap_flist *fnext = fp->next;
                FREE(soap, fp);
                fp = fnext;
            }
            FREE(soap, ip);
            ip = next;
        }
        soap->iht[i] = nullptr;
    }
    soap->iht_used = 0;
}

/* ------------------------------------------------------------------------ */
/* Pointer table (output)                                                    */
/* ------------------------------------------------------------------------ */

static inline char &pass_mark(const struct soap *soap, struct soap_plist *pp)
{
    return (soap->mode & SOAP_IO_LENGTH) ? pp->mark1 : pp->mark2;
}

/* SOAP 1.1 encoded output: shared objects go to the top level. */
static inline bool encoded_multiref(const struct soap *soap)
{
    return soap->version == 1 && soap->encodingStyle && !(soap->mode & SOAP_XML_GRAPH) &&
           soap->part != SOAP_IN_HEADER;
}

int soap_pointer_lookup(struct soap *soap, const void *p, int type, struct soap_plist **ppp)
{
    *ppp = nullptr;
    if (!p)
        return 0;
    for (struct soap_plist *pp = soap->pht[ptr_bucket(p)]; pp; pp = pp->next) {
        if (pp->ptr == p && pp->type == type) {
            *ppp = pp;
            return pp->id;
        }
    }
    return 0;
}

/* Array records are found by their data pointer and all their sizes; the
 * sizes of n dimensions stand one after the other from __size. */
int soap_array_pointer_lookup(struct soap *soap, const void *p, const struct soap_array *a, int n,
                              int type, struct soap_plist **ppp)
{
    *ppp = nullptr;
    if (!p || !a || !a->__ptr)
        return 0;
    if (n < 1)
        n = 1;
    for (struct soap_plist *pp = soap->pht[ptr_bucket(a->__ptr)]; pp; pp = pp->next) {
        if (pp->type == type && pp->array && pp->array->__ptr == a->__ptr &&
            !memcmp(&pp->array->__size, &a->__size, (size_t)n * sizeof(int))) {
            *ppp = pp;
            return pp->id;
        }
    }
    return 0;
}

/* A fresh record at the head of bucket h; null when no block can be had. */
static inline struct soap_plist *new_record(struct soap *soap, const void *p, const struct soap_array *a, int type,
                                            size_t h)
{
    if (!soap->pblk || soap->pidx >= SOAP_PTRBLK) {
        struct soap_pblk *pb = static_cast<struct soap_pblk *>(soap_kept_take(soap, sizeof(struct soap_pblk)));
        if (!pb) {
            soap->error = SOAP_EOM;
            return nullptr;
        }
        pb->next = soap->pblk;
        soap->pblk = pb;
        soap->pidx = 0;
    }
    struct soap_plist *pp = &soap->pblk->plist[soap->pidx++];
    pp->next = soap->pht[h];
    pp->ptr = p;
    pp->array = a;
    pp->type = type;
    pp->mark1 = 0;
    pp->mark2 = 0;
    pp->id = ++soap->idnumber;
    soap->pht[h] = pp;
    return pp;
}

int soap_pointer_enter(struct soap *soap, const void *p, const struct soap_array *a, int n, int type,
                       struct soap_plist **ppp)
{
    (void)n;
    struct soap_plist *pp = new_record(soap, p, a, type, ptr_bucket(a ? a->__ptr : p));
    *ppp = pp;
    return pp ? pp->id : 0;
}

int soap_reference(struct soap *soap, const void *p, int type)
{
    if (!p || (soap->mode & SOAP_XML_TREE))
        return 1;
    /* the lookup and, when it fails, the entry, on one bucket */
    size_t h = ptr_bucket(p);
    struct soap_plist *pp;
    for (pp = soap->pht[h]; pp; pp = pp->next) {
        if (pp->ptr == p && pp->type == type) {
            if (pp->mark1 == 0) {
                pp->mark1 = 2;
                pp->mark2 = 2;
            }
            return pp->mark1;
        }
    }
    pp = new_record(soap, p, nullptr, type, h);
    if (!pp)
        return 1;  /* no memory: don't walk into it */
    return pp->mark1;
}

int soap_array_reference(struct soap *soap, const void *p, const struct soap_array *a, int n, int type)
{
    if (!p || !a || !a->__ptr)
        return 1;
    struct soap_plist *pp;
    if (soap_array_pointer_lookup(soap, p, a, n, type, &pp)) {
        if (pp->mark1 == 0) {
            pp->mark1 = 2;
            pp->mark2 = 2;
        }
    } else if (!soap_pointer_enter(soap, p, a, n, type, &pp)) {
        return 1;
    }
    return pp->mark1;
}

int soap_embedded(struct soap *soap, const void *p, int type)
{
    struct soap_plist *pp;
    int id = soap_pointer_lookup(soap, p, type, &pp);
    if (pp) {
        pp->mark1 = 1;
        pp->mark2 = 1;
    }
    return id;
}

static __attribute__((noinline)) int embedded_id_graph(struct soap *soap, int id, const void *p, int type)
{
    struct soap_plist *pp;
    if (encoded_multiref(soap)) {
        if (id >= 0)
            return id;
        soap_pointer_lookup(soap, p, type, &pp);
        if (pp)
            pass_mark(soap, pp) = 2;
        return -1;
    }
    int found = soap_pointer_lookup(soap, p, type, &pp);
    if (id < 0)
        id = found;
    else if (id > 0 && !pp)
        return 0;
    if (id && pp)
        pass_mark(soap, pp) = 1;
    return id;
}

int soap_embedded_id(struct soap *soap, int id, const void *p, int type)
{
    if (soap->mode & SOAP_XML_TREE)
        return id;
    return embedded_id_graph(soap, id, p, type);
}

int soap_is_embedded(struct soap *soap, struct soap_plist *pp)
{
    if (!pp)
        return 0;
    if (encoded_multiref(soap))
        return pass_mark(soap, pp) != 0;
    return pass_mark(soap, pp) == 1;
}

int soap_is_single(struct soap *soap, struct soap_plist *pp)
{
    if (soap->part == SOAP_IN_HEADER)
        return 1;
    if (!pp)
        return 0;
    return pass_mark(soap, pp) == 0;
}

void soap_set_embedded(struct soap *soap, struct soap_plist *pp)
{
    if (pp)
        pass_mark(soap, pp) = 1;
}

int soap_embed(struct soap *soap, const void *p, const struct soap_array *a, int n, const char *tag, int type)
{
    (void)tag;
    if (soap->version == 2)
        soap->encoding = 1;
    struct soap_plist *pp;
    int id = a ? soap_array_pointer_lookup(soap, p, a, n, type, &pp) : soap_pointer_lookup(soap, p, type, &pp);
    if (!id)
        return 0;
    if (soap_is_embedded(soap, pp) || soap_is_single(soap, pp))
        return 0;
    soap_set_embedded(soap, pp);
    return id;
}

/* ------------------------------------------------------------------------ */
/* Id table (input)                                                          */
/* ------------------------------------------------------------------------ */

size_t soap_hash(const char *s)
{
    uint32_t h = 0;
    while (*s)
        h = h * 65599u + (unsigned char)*s++;
    return h % SOAP_IDHASH;
}

struct soap_ilist *soap_lookup(struct soap *soap, const char *id)
{
    if (!id)
        return nullptr;
    for (struct soap_ilist *ip = soap->iht[soap_hash(id)]; ip; ip = ip->next)
        if (!strcmp(ip->id, id))
            return ip;
    return nullptr;
}

struct soap_ilist *soap_enter(struct soap *soap, const char *id)
{
    size_t len = strlen(id);
    struct soap_ilist *ip = static_cast<struct soap_ilist *>(MALLOC(soap, sizeof(struct soap_ilist) + len));
    if (!ip) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    size_t h = soap_hash(id);
    ip->next = soap->iht[h];
    ip->type = 0;
    ip->size = 0;
    ip->link = nullptr;
    ip->copy = nullptr;
    ip->flist = nullptr;
    ip->ptr = nullptr;
    ip->level = 0;
    memcpy(ip->id, id, len + 1);
    soap->iht[h] = ip;
    soap->iht_used = 1;
    return ip;
}

int soap_lookup_type(struct soap *soap, const char *id)
{
    if (!id || !*id)
        return 0;
    struct soap_ilist *ip = soap_lookup(soap, id);
    return ip ? ip->type : 0;
}

/* Keeps the offending id for the fault text. */
static void *id_error(struct soap *soap, const char *id, int code)
{
    /* the id is often soap->id itself: only a different one is copied */
    if (id != soap->id) {
        size_t n = strnlen(id, sizeof soap->id - 1);
        memmove(soap->id, id, n);
        soap->id[n] = '\0';
    }
    soap->error = code;
    return nullptr;
}

void *soap_id_enter(struct soap *soap, const char *id, void *p, int t, size_t n, unsigned int k,
                    const char *type, const char *arrayType,
                    void *(*finstantiate)(struct soap *, int, const char *, const char *, size_t *))
{
    soap->alloced = 0;
    if (!p) {
        if (finstantiate)
            p = finstantiate(soap, t, type, arrayType, &n);
        else
            p = soap_malloc(soap, n);
        if (!p)
            return nullptr;
        soap->alloced = 1;
    }
    if (!id || !*id)
        return p;
    struct soap_ilist *ip = soap_lookup(soap, id);
    if (ip) {
        bool conflict = ip->type != t || (ip->level == k && ip->size != n);
        if (conflict && (ip->copy || ip->flist))
            return id_error(soap, id, SOAP_HREF);
        if (ip->ptr)
            return id_error(soap, id, SOAP_DUPLICATE_ID);
        ip->type = t;
        ip->ptr = p;
        ip->size = n;
        ip->level = k;
        return p;
    }
    ip = soap_enter(soap, id);
    if (!ip)
        return nullptr;
    ip->type = t;
    ip->size = n;
    ip->level = k;
    ip->ptr = p;
    return p;
}

/* A new pointer cell in a block, for one extra level of indirection. */
static void **new_cell(struct soap *soap)
{
    return static_cast<void **>(soap_malloc(soap, sizeof(void *)));
}

void **soap_id_lookup(struct soap *soap, const char *id, void **p, int t, size_t n, unsigned int k)
{
    if (!p || !id || !*id)
        return p;
    struct soap_ilist *ip = soap_lookup(soap, id);
    if (!ip) {
        ip = soap_enter(soap, id);
        if (!ip)
            return nullptr;
        ip->type = t;
        ip->size = n;
        ip->level = k;
        ip->link = p;
        *p = nullptr;
        return p;
    }
    void **cell = p;
    if (ip->ptr) {
        if (ip->type != t)
            return static_cast<void **>(id_error(soap, id, SOAP_HREF));
        for (unsigned int level = ip->level; level < k; level++) {
            void **q = new_cell(soap);
            if (!q)
                return nullptr;
            *cell = q;
            cell = q;
        }
        *cell = ip->ptr;
        return p;
    }
    /* The waiters so far want more indirections than this one: satisfy them
     * with a fresh cell each round, which then waits one level lower. */
    while (ip->level > k) {
        void **s = new_cell(soap);
        if (!s)
            return nullptr;
        for (void *q = ip->link; q;) {
            void *next = *static_cast<void **>(q);
            *static_cast<void **>(q) = s;
            q = next;
        }
        *s = nullptr;
        ip->link = s;
        ip->level--;
    }
    for (unsigned int level = ip->level; level < k; level++) {
        void **q = new_cell(soap);
        if (!q)
            return nullptr;
        *cell = q;
        cell = q;
    }
    *cell = ip->link;
    ip->link = cell;
    return p;
}

void soap_fcopy(struct soap *soap, int st, int tt, void *p, size_t len, const void *q, size_t n)
{
    (void)soap;
    (void)st;
    (void)tt;
    (void)len;
    memcpy(p, q, n);
}

void *soap_id_forward(struct soap *soap, const char *href, void *p, size_t len, int st, int tt, size_t n,
                      unsigned int k, void (*fcopy)(struct soap *, int, int, void *, size_t, const void *, size_t))
{
    if (!p || !href || !*href)
        return p;
    struct soap_ilist *ip = soap_lookup(soap, href);
    if (ip) {
        if (ip->type != st || (ip->level == k && ip->size != n))
            return id_error(soap, href, SOAP_HREF);
    } else {
        ip = soap_enter(soap, href);
        if (!ip)
            return nullptr;
        ip->type = st;
        ip->size = n;
        ip->level = k;
    }
    /* The copy chain keeps its links in the targets' first word, so only
     * targets that can hold a pointer join it; short ones get a fix-up, and
     * so do targets that want a pointer rather than the object's bytes. */
    if (!fcopy && n >= sizeof(void *) && k == 0 && *href == '#') {
        *static_cast<void **>(p) = ip->copy;
        ip->copy = p;
        return p;
    }
    struct soap_flist *fp = static_cast<struct soap_flist *>(MALLOC(soap, sizeof(struct soap_flist)));
    if (!fp) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    fp->next = ip->flist;
    fp->type = tt;
    fp->ptr = p;
    fp->level = k;
    fp->len = len;
    fp->fcopy = fcopy ? fcopy : soap_fcopy;
    ip->flist = fp;
    return p;
}

int soap_xop_forward(struct soap *soap, unsigned char **ptr, int *size, char **id, char **type, char **options)
{
    char *ref = soap_strdup(soap, soap->href);
    if (!ref)
        return soap->error = SOAP_EOM;
    struct soap_xlist *xp = static_cast<struct soap_xlist *>(MALLOC(soap, sizeof(struct soap_xlist)));
    if (!xp)
        return soap->error = SOAP_EOM;
    if (id)
        *id = ref;
    xp->next = soap->xlist;
    xp->ptr = ptr;
    xp->size = size;
    xp->id = ref;
    xp->type = type;
    xp->options = options;
    soap->xlist = xp;
    return SOAP_OK;
}

void soap_resolve_attachment(struct soap *soap, struct soap_multipart *content)
{
    if (!content || !content->id)
        return;
    struct soap_xlist **xpp = &soap->xlist;
    while (*xpp) {
        struct soap_xlist *xp = *xpp;
        if (!soap_match_cid(soap, xp->id, content->id)) {
            if (xp->ptr)
                *xp->ptr = reinterpret_cast<unsigned char *>(content->ptr);
            if (xp->size)
                *xp->size = (int)content->size;
            if (xp->type)
                *xp->type = const_cast<char *>(content->type);
            if (xp->options)
                *xp->options = const_cast<char *>(content->options ? content->options : content->description);
            *xpp = xp->next;
            FREE(soap, xp);
        } else {
            xpp = &xp->next;
        }
    }
}

static int hexval(int c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

int soap_match_cid(struct soap *soap, const char *s, const char *t)
{
    (void)soap;
    if (!s || !t)
        return 1;
    if (!strcmp(s, t))
        return 0;
    if (!strncasecmp(s, "cid:", 4))
        s += 4;
    size_t n = strlen(t);
    if (n && *t == '<') {
        t++;
        n--;
    }
    if (n && t[n - 1] == '>')
        n--;
    if (strlen(s) == n && !strncmp(s, t, n))
        return 0;
    /* the reference may be percent-encoded (it is a URL) */
    size_t i = 0;
    while (*s) {
        int c = (unsigned char)*s++;
        if (c == '%') {
            int hi = s[0] ? hexval((unsigned char)s[0]) : -1;
            int lo = hi >= 0 && s[1] ? hexval((unsigned char)s[1]) : -1;
            if (hi >= 0 && lo >= 0) {
                c = hi * 16 + lo;
                s += 2;
            }
        }
        if (i >= n || (unsigned char)t[i] != c)
            return 1;
        i++;
    }
    return i == n ? 0 : 1;
}

/* ------------------------------------------------------------------------ */
/* Resolution at the end of a message                                        */
/* ------------------------------------------------------------------------ */

static inline bool in_range(const void *p, const char *start, const char *end)
{
    return (uintptr_t)p >= (uintptr_t)start && (uintptr_t)p < (uintptr_t)end;
}

int soap_has_copies(struct soap *soap, const char *start, const char *end)
{
    EACH_USED_BUCKET(soap, i) {
        for (struct soap_ilist *ip = soap->iht[i]; ip; ip = ip->next) {
            for (void *q = ip->copy; q; q = *static_cast<void **>(q))
                if (in_range(q, start, end))
                    return -1;
            for (struct soap_flist *fp = ip->flist; fp; fp = fp->next)
                if (in_range(fp->ptr, start, end))
                    return -1;
        }
    }
    return 0;
}

/* Runs one fix-up: the target wants the object at its own level of
 * indirection, so pointer cells bridge the difference. */
static int run_fixup(struct soap *soap, struct soap_ilist *ip, struct soap_flist *fp)
{
    const void *src = ip->ptr;
    size_t n = ip->size;
    void *val = ip->ptr;
    if (fp->level > ip->level) {
        for (unsigned int level = ip->level + 1; level < fp->level; level++) {
            void **cell = new_cell(soap);
            if (!cell)
                return SOAP_EOM;
            *cell = val;
            val = cell;
        }
        src = &val;
        n = sizeof(void *);
    }
    fp->fcopy(soap, ip->type, fp->type, fp->ptr, fp->len, src, n);
    return SOAP_OK;
}

int soap_resolve(struct soap *soap)
{
    bool copies = false;  /* any copy or fix-up waiting */
    EACH_USED_BUCKET(soap, i) {
        for (struct soap_ilist *ip = soap->iht[i]; ip; ip = ip->next) {
            if (ip->copy || ip->flist)
                copies = true;
            if (!ip->ptr) {
                if (ip->id[0] == '#') {
                    id_error(soap, ip->id, SOAP_MISSING_ID);
                    return soap->error;
                }
                continue;  /* an attachment's reference */
            }
            for (void *q = ip->link; q;) {
                void *next = *static_cast<void **>(q);
                *static_cast<void **>(q) = ip->ptr;
                q = next;
            }
            ip->link = nullptr;
        }
    }
    if (!copies)
        return SOAP_OK;
    bool changed;
    do {
        changed = false;
        EACH_USED_BUCKET(soap, i) {
            for (struct soap_ilist *ip = soap->iht[i]; ip; ip = ip->next) {
                if (!ip->ptr || (!ip->copy && !ip->flist))
                    continue;
                const char *obj = static_cast<const char *>(ip->ptr);
                if (soap_has_copies(soap, obj, obj + ip->size))
                    continue;  /* parts of it are still waiting for their own copies */
                for (void *q = ip->copy; q;) {
                    void *next = *static_cast<void **>(q);
                    memcpy(q, ip->ptr, ip->size);
                    q = next;
                }
                ip->copy = nullptr;
                while (ip->flist) {
                    struct soap_flist *fp = ip->flist;
                    ip->flist = fp->next;
                    int err = run_fixup(soap, ip, fp);
                    FREE(soap, fp);
                    if (err)
                        return soap->error = err;
                }
                changed = true;
            }
        }
    } while (changed);
    return SOAP_OK;
}

/* A chain whose cells lie in the moving range: each link is set to the new
 * place, but the walk goes on from the old one, where the cell's contents
 * still are until the range is copied. */
static void relocate_chain(void **q, const char *start, const char *end, ptrdiff_t delta)
{
    while (*q) {
        void *old = *q;
        if (in_range(old, start, end))
            *q = static_cast<char *>(old) + delta;
        q = static_cast<void **>(old);
    }
}

void soap_update_pointers(struct soap *soap, char *start, char *end, char *p1, char *p2)
{
    const ptrdiff_t delta = p1 - p2;
    EACH_USED_BUCKET(soap, i) {
        for (struct soap_ilist *ip = soap->iht[i]; ip; ip = ip->next) {
            if (ip->ptr && in_range(ip->ptr, start, end))
                ip->ptr = static_cast<char *>(ip->ptr) + delta;
            relocate_chain(&ip->copy, start, end, delta);
            relocate_chain(&ip->link, start, end, delta);
            for (struct soap_flist *fp = ip->flist; fp; fp = fp->next)
                if (in_range(fp->ptr, start, end))
                    fp->ptr = static_cast<char *>(fp->ptr) + delta;
        }
    }
    for (struct soap_xlist *xp = soap->xlist; xp; xp = xp->next) {
        if (xp->ptr && in_range(xp->ptr, start, end))
            xp->ptr = reinterpret_cast<unsigned char **>(reinterpret_cast<char *>(xp->ptr) + delta);
        if (xp->size && in_range(xp->size, start, end))
            xp->size = reinterpret_cast<int *>(reinterpret_cast<char *>(xp->size) + delta);
        if (xp->type && in_range(xp->type, start, end))
            xp->type = reinterpret_cast<char **>(reinterpret_cast<char *>(xp->type) + delta);
        if (xp->options && in_range(xp->options, start, end))
            xp->options = reinterpret_cast<char **>(reinterpret_cast<char *>(xp->options) + delta);
    }
}

/* ------------------------------------------------------------------------ */
/* Array size and offset attributes                                          */
/* ------------------------------------------------------------------------ */

/* Values are capped just above the limit while reading, so no overflow. */
static const long long SIZE_CAP = (long long)SOAP_MAXARRAYSIZE + 1;

static inline bool is_digit(char c) { return c >= '0' && c <= '9'; }

/* The number in [s, e): optional sign, then digits only. */
static bool parse_span(const char *s, const char *e, long long *v)
{
    bool neg = false;
    if (s < e && (*s == '-' || *s == '+'))
        neg = *s++ == '-';
    if (s == e)
        return false;
    long long n = 0;
    for (; s < e; s++) {
        if (!is_digit(*s))
            return false;
        if (n < SIZE_CAP)
            n = n * 10 + (*s - '0');
    }
    *v = neg ? -n : n;
    return true;
}

int soap_getsizes(const char *attr, int *size, int dim)
{
    if (!attr || !*attr)
        return -1;
    const char *end = attr + strlen(attr);
    while (end > attr && end[-1] == ' ')
        end--;
    if (end > attr && end[-1] == ']')
        end--;
    long long product = 1;
    int d = dim;
    for (;;) {
        const char *start = end;
        while (start > attr && start[-1] != '[' && start[-1] != ',' && start[-1] != ' ')
            start--;
        long long v;
        if (!parse_span(start, end, &v) || v < 0)
            return -1;
        product *= v;
        if (product > SOAP_MAXARRAYSIZE)
            return -1;
        if (d > 0)
            size[--d] = (int)v;
        if (start == attr || start[-1] == '[')
            break;
        /* one comma and blanks around it, or blanks alone */
        end = start;
        bool comma = false;
        while (end > attr && (end[-1] == ' ' || (end[-1] == ',' && !comma))) {
            if (end[-1] == ',')
                comma = true;
            end--;
        }
        if (end == attr || end[-1] == '[') {
            if (comma)
                return -1;
            break;
        }
    }
    return (int)product;
}

static const char *list_start(const char *attr)
{
    const char *s = strchr(attr, '[');
    return s ? s + 1 : attr;
}

/* Next entry of a size or offset list read from the front: 1 with the value,
 * 0 at the end of the list, -1 for anything that is no number. */
static int next_number(const char **sp, long long *v)
{
    const char *s = *sp;
    while (*s == ' ')
        s++;
    if (*s == ']' || !*s) {
        *sp = s;
        return 0;
    }
    const char *e = s;
    if (*e == '-' || *e == '+')
        e++;
    while (is_digit(*e))
        e++;
    if (!parse_span(s, e, v))
        return -1;
    s = e;
    while (*s == ' ')
        s++;
    if (*s == ',') {
        s++;
        const char *t = s;
        while (*t == ' ')
            t++;
        if (*t == ']' || !*t)
            return -1;  /* a comma promises one more */
    } else if (*s && *s != ']' && !is_digit(*s) && *s != '-' && *s != '+') {
        return -1;
    }
    *sp = s;
    return 1;
}

int soap_getsize(const char *attr1, const char *attr2, int *j)
{
    *j = 0;
    if (!attr1 || !*attr1)
        return -1;
    const char *s = list_start(attr1);
    const char *t = attr2 ? list_start(attr2) : nullptr;
    long long product = 1, index = 0;
    int count = 0;
    for (;;) {
        long long n;
        int r = next_number(&s, &n);
        if (r < 0)
            return -1;
        if (r == 0)
            break;
        if (n < 0)
            return -1;
        product *= n;
        if (product > SOAP_MAXARRAYSIZE)
            return -1;
        count++;
        if (t) {
            long long k = 0;
            int r2 = next_number(&t, &k);
            if (r2 < 0 || k < 0)
                return -1;
            index = index * n + k;
            if (index > product)
                return -1;  /* an offset beyond its dimension */
        }
    }
    if (!count)
        return -1;
    *j = (int)index;
    return (int)(product - index);
}

int soap_getoffsets(const char *attr, const int *size, int *offset, int dim)
{
    if (!attr) {
        for (int i = 0; offset && i < dim; i++)
            offset[i] = 0;
        return 0;
    }
    const char *s = list_start(attr);
    long long j = 0;
    for (int i = 0; i < dim; i++) {
        long long k = 0;
        int r = next_number(&s, &k);
        if (r < 0 || k < 0)
            return -1;
        if (k > SOAP_MAXARRAYSIZE)
            return -1;
        if (offset)
            offset[i] = (int)k;
        j = j * size[i] + k;
        if (j > INT32_MAX || j < 0)
            return -1;
    }
    return (int)j;
}

int soap_size(const int *size, int dim)
{
    long long n = size[0];
    for (int i = 1; i < dim; i++) {
        n *= size[i];
        if (n > INT32_MAX || n < INT32_MIN)
            return -1;
    }
    return (int)n;
}
