/* namespaces.cpp -- binding of the message's prefixes to the rows of the
 * namespace table (the stack `nlist`, learned URI variants in `out`), tag and
 * wildcard comparison, and the two QName text forms.  Not the writing of
 * declarations (writer.cpp) nor the reading of attributes (reader.cpp).
 */
#include <cstdio>
#include <cstdint>
#include <cstring>

#include "soapengine.h"

#define SOAP_FILE_TAG "soapengine"
#define MALLOC(soap, n) soap_track_malloc((soap), SOAP_FILE_TAG, __LINE__, (n))
#define FREE(soap, p) soap_track_free((soap), SOAP_FILE_TAG, __LINE__, (p))

static const char SOAP11_ENV[] = "http://schemas.xmlsoap.org/soap/envelope/";

static inline int lower(int c)
{
    return (c >= 'A' && c <= 'Z') ? c + ('a' - 'A') : c;
}

/* ------------------------------------------------------------------------ */
/* Wildcard comparison                                                       */
/* ------------------------------------------------------------------------ */

/* `*` stands for any run and `-` for any one byte; case is ignored for A-Z.
 * The text ends at a zero byte or a double quote, so that a quoted value in
 * a header or declaration can be compared in place.  Recursion is bounded by
 * the number of stars in the pattern, which is the program's, not the peer's. */
int soap_tag_cmp(const char *s, const char *t)
{
    for (;;) {
        int c1 = (unsigned char)*s;
        int c2 = (unsigned char)*t;
        if (!c1 || c1 == '"')
            return (!c2 || (c2 == '*' && !t[1])) ? 0 : 1;
        if (c2 != '-' && lower(c1) != lower(c2)) {
            if (c2 != '*')
                return 1;
            const char *rest = t + 1;
            if (!*rest)
                return 0;
            int r = lower((unsigned char)*rest);
            for (; *s && *s != '"'; s++) {
                if ((r == '-' || lower((unsigned char)*s) == r) && !soap_tag_cmp(s + 1, rest + 1))
                    return 0;
            }
            return (rest[0] == '*' && !rest[1]) ? 0 : 1;
        }
        s++;
        t++;
    }
}

const char *soap_tagsearch(const char *list, const char *word)
{
    if (!list || !word)
        return nullptr;
    size_t n = strlen(word);
    const char *s = list;
    for (;;) {
        while (*s && soap_blank((unsigned char)*s))
            s++;
        if (!*s)
            return nullptr;
        const char *e = s;
        while (*e && !soap_blank((unsigned char)*e))
            e++;
        if ((size_t)(e - s) == n && !strncmp(s, word, n))
            return s;
        s = e;
    }
}

/* ------------------------------------------------------------------------ */
/* Working table                                                             */
/* ------------------------------------------------------------------------ */

void soap_set_local_namespaces(struct soap *soap)
{
    if (!soap->namespaces || soap->local_namespaces)
        return;
    size_t n = 1;
    for (const struct Namespace *ns = soap->namespaces; ns->id; ns++)
        n++;
    struct Namespace *copy = static_cast<struct Namespace *>(MALLOC(soap, n * sizeof(struct Namespace)));
    if (!copy) {
        soap->error = SOAP_EOM;
        return;
    }
    memcpy(copy, soap->namespaces, n * sizeof(struct Namespace));
    if (copy[0].ns)
        soap->version = strcmp(copy[0].ns, SOAP11_ENV) ? 2 : 1;
    for (size_t i = 0; i < n; i++)
        copy[i].out = nullptr;
    soap->local_namespaces = copy;
}

static void free_table(struct soap *soap, struct Namespace *table)
{
    if (!table)
        return;
    for (struct Namespace *ns = table; ns->id; ns++) {
        if (soap->encodingStyle && (soap->encodingStyle == ns->out || soap->encodingStyle == ns->ns))
            soap->encodingStyle = "";
        if (ns->out)
            FREE(soap, ns->out);
    }
    FREE(soap, table);
}

int soap_set_namespaces(struct soap *soap, const struct Namespace *table)
{
    struct Namespace *old = soap->local_namespaces;
    const struct Namespace *old_table = soap->namespaces;
    unsigned int level = soap->level;
    soap->namespaces = table;
    soap->local_namespaces = nullptr;
    soap_set_local_namespaces(soap);
    /* Rebind the live prefixes to the new table, oldest declaration first. */
    struct soap_nlist *np = soap->nlist, *rev = nullptr;
    soap->nlist = nullptr;
    soap->nsgen++;
    while (np) {
        struct soap_nlist *next = np->next;
        np->next = rev;
        rev = np;
        np = next;
    }
    int err = SOAP_OK;
    const struct Namespace *rows = old ? old : old_table;
    while (rev) {
        np = rev;
        rev = np->next;
        const char *uri = np->ns;
        if (!uri && np->index >= 0 && rows)
            uri = rows[np->index].out ? rows[np->index].out : rows[np->index].ns;
        if (uri && !err) {
            soap->level = np->level;
            if (!soap_push_namespace(soap, np->id, uri))
                err = soap->error;
        }
        FREE(soap, np);
    }
    free_table(soap, old);
    soap->level = level;
    return err;
}

/* ------------------------------------------------------------------------ */
/* The stack                                                                 */
/* ------------------------------------------------------------------------ */

/* One allocation holds the entry, its prefix and (when given) its URI. */
static struct soap_nlist *new_entry(struct soap *soap, const char *id, const char *uri, short index)
{
    size_t n = strlen(id);
    size_t k = uri ? strlen(uri) + 1 : 0;
    struct soap_nlist *np = static_cast<struct soap_nlist *>(MALLOC(soap, sizeof(struct soap_nlist) + n + k));
    if (!np) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    memcpy(np->id, id, n + 1);
    if (uri) {
        np->ns = np->id + n + 1;
        memcpy(np->ns, uri, k);
    } else {
        np->ns = nullptr;
    }
    np->level = soap->level;
    np->index = index;
    np->next = soap->nlist;
    soap->nlist = np;
    soap->nsgen++;
    return np;
}

struct soap_nlist *soap_push_namespace(struct soap *soap, const char *id, const char *ns)
{
    if (!id)
        id = "";
    if (!ns)
        ns = "";
    short i = -1;
    struct Namespace *p = soap->local_namespaces;
    if (p) {
        for (short k = 0; p->id; p++, k++) {
            if (p->ns && !strcmp(ns, p->ns)) {
                if (p->out) {
                    FREE(soap, p->out);
                    p->out = nullptr;
                }
                i = k;
                break;
            }
            if (p->out) {
                if (!strcmp(ns, p->out)) {
                    i = k;
                    break;
                }
            } else if (p->in && !soap_tag_cmp(ns, p->in)) {
                /* Learn the peer's variant of this URI, so that the reply
                 * in this exchange is written with it. */
                size_t n = strlen(ns) + 1;
                p->out = static_cast<char *>(MALLOC(soap, n));
                if (!p->out) {
                    soap->error = SOAP_EOM;
                    return nullptr;
                }
                memcpy(p->out, ns, n);
                i = k;
                break;
            }
        }
    }
    return new_entry(soap, id, i < 0 ? ns : nullptr, i);
}

void soap_pop_namespace(struct soap *soap)
{
    while (soap->nlist && soap->nlist->level >= soap->level) {
        struct soap_nlist *np = soap->nlist;
        soap->nlist = np->next;
        FREE(soap, np);
        soap->nsgen++;
    }
}

void soap_free_ns(struct soap *soap)
{
    soap->nsgen++;
    while (soap->nlist) {
        struct soap_nlist *np = soap->nlist;
        soap->nlist = np->next;
        FREE(soap, np);
    }
}

/* Every element's name is looked up, mostly with the same few prefixes: the
 * answers are kept until the stack changes. */
struct soap_nlist *soap_lookup_ns(struct soap *soap, const char *tag, size_t n)
{
    struct soap_nscache *c = &soap->nscache;
    const bool cacheable = n < sizeof c->id[0];
    if (cacheable) {
        if (c->gen != soap->nsgen) {
            memset(c->len, 0xFF, sizeof c->len);
            c->gen = soap->nsgen;
        }
        for (int i = 0; i < SOAP_NSCACHE; i++)
            if (c->len[i] == n && !memcmp(c->id[i], tag, n))
                return c->np[i];
    }
    struct soap_nlist *np = soap->nlist;
    for (; np; np = np->next)
        if (!strncmp(np->id, tag, n) && !np->id[n])
            break;
    if (cacheable) {
        unsigned i = c->next++ % SOAP_NSCACHE;
        memcpy(c->id[i], tag, n);
        c->len[i] = (unsigned char)n;
        c->np[i] = np;
    }
    return np;
}

struct soap_nlist *soap_push_ns(struct soap *soap, const char *id, const char *ns, short index)
{
    if (!id)
        id = "";
    if (soap->c14nexclude && soap_tagsearch(soap->c14nexclude, id))
        return nullptr;
    if (!index) {
        struct soap_nlist *np;
        for (np = soap->nlist; np; np = np->next)
            if (!strcmp(np->id, id) && (!np->ns || (ns && !strcmp(np->ns, ns))))
                break;
        if (np) {
            if (np->level >= soap->level && np->ns)
                return nullptr;
            if (np->index != 1)
                return nullptr;
            index = 1;
        }
    }
    return new_entry(soap, id, ns, index);
}

void soap_utilize_ns(struct soap *soap, const char *tag)
{
    if (!tag)
        return;
    const char *colon = strchr(tag, ':');
    size_t n = colon ? (size_t)(colon - tag) : 0;
    struct soap_nlist *np = soap_lookup_ns(soap, tag, n);
    if (np) {
        if (!np->index)
            soap_push_ns(soap, np->id, np->ns, 1);
        return;
    }
    if (!strncmp(tag, "xml", 3))
        return;
    char prefix[SOAP_TAGLEN];
    if (n >= sizeof(prefix))
        n = sizeof(prefix) - 1;
    memcpy(prefix, tag, n);
    prefix[n] = '\0';
    soap_push_ns(soap, prefix, nullptr, 1);
}

/* ------------------------------------------------------------------------ */
/* Matching                                                                  */
/* ------------------------------------------------------------------------ */

int soap_match_namespace(struct soap *soap, const char *tag, const char *pattern, size_t n1, size_t n2)
{
    struct soap_nlist *np = soap_lookup_ns(soap, tag, n1);
    if (!np) {
        if (!n1)
            return (soap->mode & SOAP_XML_IGNORENS) ? SOAP_OK : SOAP_NAMESPACE;
        if (n1 == 3 && n2 == 3 && !strncmp(tag, "xml", 3) && !strncmp(pattern, "xml", 3))
            return SOAP_OK;
        if (soap->mode & SOAP_XML_IGNORENS)
            return SOAP_OK;
        return soap->error = SOAP_SYNTAX_ERROR;
    }
    if (soap->mode & SOAP_XML_IGNORENS)
        return SOAP_OK;
    if (np->index < 0 || !soap->local_namespaces)
        return SOAP_NAMESPACE;
    const char *id = soap->local_namespaces[np->index].id;
    if (!id)
        return SOAP_OK;
    if (!strncmp(id, pattern, n2) && (!id[n2] || id[n2] == '_'))
        return SOAP_OK;
    return SOAP_NAMESPACE;
}

int soap_match_tag(struct soap *soap, const char *tag, const char *pattern)
{
    if (!pattern || !*pattern)
        return SOAP_OK;
    if (!tag)
        tag = "";
    /* Mostly the tag is written with the pattern's own prefix: when the texts are equal only
       the prefix's binding is left to check. */
    if (*tag == *pattern && !strcmp(tag, pattern)) {
        /* and the same pattern matched the same text before, under the same bindings */
        struct soap_matchcache *mc = &soap->matchcache;
        const size_t h = ((uintptr_t)pattern >> 3) % SOAP_MATCHCACHE;
        if (mc->pattern[h] == pattern && mc->gen[h] == soap->nsgen && mc->table[h] == soap->local_namespaces)
            return SOAP_OK;
        const char *colon = strchr(pattern, ':');
        /* (unprefixed, or a pattern standing for a whole namespace: the general rule) */
        if (colon && colon != pattern && colon[1]) {
            size_t n = (size_t)(colon - pattern);
            int r = soap_match_namespace(soap, tag, pattern, n, n);
            if (r == SOAP_OK && !(soap->mode & SOAP_XML_IGNORENS)) {
                mc->pattern[h] = pattern;
                mc->gen[h] = soap->nsgen;
                mc->table[h] = soap->local_namespaces;
            }
            return r == SOAP_NAMESPACE ? SOAP_TAG_MISMATCH : r;
        }
    }
    const char *s = strchr(tag, ':');
    const char *t = strchr(pattern, ':');
    int r;
    if (t) {
        /* An empty local part in the pattern ("SOAP-ENV:") stands for any
         * name in that namespace, with or without a prefix on the tag. */
        if (s) {
            if (t[1] && strcmp(s + 1, t + 1))
                return SOAP_TAG_MISMATCH;
            if (t == pattern)
                return SOAP_OK;
            r = soap_match_namespace(soap, tag, pattern, (size_t)(s - tag), (size_t)(t - pattern));
        } else {
            if (t[1] && strcmp(tag, t + 1))
                return SOAP_TAG_MISMATCH;
            if (t == pattern)
                return SOAP_OK;
            r = soap_match_namespace(soap, tag, pattern, 0, (size_t)(t - pattern));
        }
        return r == SOAP_NAMESPACE ? SOAP_TAG_MISMATCH : r;
    }
    if (strcmp(s ? s + 1 : tag, pattern))
        return SOAP_TAG_MISMATCH;
    return SOAP_OK;
}

const char *soap_current_namespace(struct soap *soap, const char *tag)
{
    if (!tag || !strncmp(tag, "xml", 3))
        return nullptr;
    const char *colon = strchr(tag, ':');
    struct soap_nlist *np;
    if (!colon) {
        np = soap_lookup_ns(soap, "", 0);
        if (!np)
            return nullptr;
    } else {
        np = soap_lookup_ns(soap, tag, (size_t)(colon - tag));
        if (!np) {
            soap->error = SOAP_NAMESPACE;
            return nullptr;
        }
    }
    if (np->index >= 0)
        return soap->namespaces ? soap->namespaces[np->index].ns : nullptr;
    return soap_strdup(soap, np->ns);
}

/* ------------------------------------------------------------------------ */
/* Qualified names                                                           */
/* ------------------------------------------------------------------------ */

/* A small growing text for building QName lists; labbuf isn't used, since a
 * caller may hand in text that lives there. */
struct qtext {
    struct soap *soap;
    char *p = nullptr;
    size_t n = 0, cap = 0;
    bool failed = false;

    explicit qtext(struct soap *s) : soap(s) {}
    ~qtext()
    {
        if (p)
            FREE(soap, p);
    }
    void add(const char *s, size_t k)
    {
        if (failed)
            return;
        if (n + k + 1 > cap) {
            size_t c = cap ? cap : 64;
            while (n + k + 1 > c)
                c *= 2;
            char *q = static_cast<char *>(MALLOC(soap, c));
            if (!q) {
                failed = true;
                soap->error = SOAP_EOM;
                return;
            }
            if (n)
                memcpy(q, p, n);
            if (p)
                FREE(soap, p);
            p = q;
            cap = c;
        }
        memcpy(p + n, s, k);
        n += k;
        p[n] = '\0';
    }
    void add(const char *s) { add(s, strlen(s)); }
    void add(char c) { add(&c, 1); }
    char *block()
    {
        if (failed)
            return nullptr;
        char *b = static_cast<char *>(soap_malloc(soap, n + 1));
        if (!b)
            return nullptr;
        if (n)
            memcpy(b, p, n);
        b[n] = '\0';
        return b;
    }
};

int soap_s2QName(struct soap *soap, const char *s, char **t, long minlen, long maxlen)
{
    if (!s)
        return soap->error;
    long len = (long)strlen(s);
    if ((maxlen >= 0 && len > maxlen) || len < minlen)
        return soap->error = SOAP_LENGTH;
    qtext out(soap);
    int err = SOAP_OK;
    for (;;) {
        while (*s && soap_blank((unsigned char)*s))
            s++;
        if (!*s)
            break;
        size_t n = 0;
        while (s[n] && !soap_blank((unsigned char)s[n]))
            n++;
        if (out.n)
            out.add(' ');
        const char *colon = static_cast<const char *>(memchr(s, ':', n));
        if (!soap->nlist || !strncmp(s, "xml:", 4)) {
            out.add(s, n);
        } else {
            size_t k = colon ? (size_t)(colon - s) : 0;
            struct soap_nlist *np = soap_lookup_ns(soap, s, k);
            const char *local = colon ? colon + 1 : s;
            size_t ln = n - (size_t)(local - s);
            if (np) {
                const struct Namespace *row =
                    (np->index >= 0 && soap->local_namespaces) ? &soap->local_namespaces[np->index] : nullptr;
                if (row && row->id) {
                    size_t idn = strlen(row->id);
                    if (idn && row->id[idn - 1] == '_') {
                        const char *uri = row->out ? row->out : row->ns;
                        out.add('"');
                        out.add(uri ? uri : "");
                        out.add('"');
                    } else {
                        out.add(row->id);
                    }
                } else if (np->ns) {
                    out.add('"');
                    out.add(np->ns);
                    out.add('"');
                } else {
                    err = SOAP_NAMESPACE;
                }
                out.add(':');
                out.add(local, ln);
            } else if (!colon) {
                /* no default namespace: the name stands in no namespace */
                out.add("\"\":", 3);
                out.add(local, ln);
            } else {
                /* An undeclared prefix: kept as written, so that the list
                 * stays blank-separated, and reported. */
                err = SOAP_NAMESPACE;
                out.add(s, n);
            }
        }
        s += n;
    }
    if (err)
        return soap->error = err;
    char *r = out.block();
    if (!r)
        return soap->error = SOAP_EOM;
    *t = r;
    return SOAP_OK;
}

const char *soap_QName2s(struct soap *soap, const char *s)
{
    if (!s)
        return nullptr;
    qtext out(soap);
    for (;;) {
        while (*s && soap_blank((unsigned char)*s))
            s++;
        if (!*s)
            break;
        size_t n = 0;
        if (*s == '"') {
            /* a quoted URI may hold blanks; the name ends behind its quote */
            n = 1;
            while (s[n] && s[n] != '"')
                n++;
            if (s[n])
                n++;
        }
        while (s[n] && !soap_blank((unsigned char)s[n]))
            n++;
        if (out.n)
            out.add(' ');
        if (*s != '"') {
            out.add(s, n);
            if (soap->mode & SOAP_XML_CANONICAL) {
                char name[SOAP_TAGLEN];
                size_t k = n < sizeof(name) ? n : sizeof(name) - 1;
                memcpy(name, s, k);
                name[k] = '\0';
                soap_utilize_ns(soap, name);
            }
        } else {
            const char *uri = s + 1;
            const char *q = static_cast<const char *>(memchr(uri, '"', n - 1));
            size_t un = q ? (size_t)(q - uri) : n - 1;
            const char *rest = q ? q + 1 : s + n;
            size_t rn = (size_t)(s + n - rest);
            const struct Namespace *row = nullptr;
            if (soap->local_namespaces) {
                for (const struct Namespace *p = soap->local_namespaces; p->id; p++) {
                    if ((p->ns && !soap_tag_cmp(uri, p->ns)) || (p->in && !soap_tag_cmp(uri, p->in))) {
                        row = p;
                        break;
                    }
                }
            }
            if (row) {
                out.add(row->id);
                out.add(rest, rn);
            } else {
                /* Unknown URI: declare it on the next element under a
                 * generated prefix. */
                char *u = static_cast<char *>(MALLOC(soap, un + 1));
                if (!u) {
                    soap->error = SOAP_EOM;
                    return nullptr;
                }
                memcpy(u, uri, un);
                u[un] = '\0';
                int id = ++soap->idnumber;
                char attr[32];
                snprintf(attr, sizeof(attr), "xmlns:_%d", id);
                int r = soap_set_attr(soap, attr, u, 1);
                FREE(soap, u);
                if (r)
                    return nullptr;
                out.add(attr + 6);
                out.add(rest, rn);
            }
        }
        s += n;
    }
    return out.block();
}
