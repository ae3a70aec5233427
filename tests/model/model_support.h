/* model_support.h -- what the model tests share: a context on the in-memory transport with the
 * library's namespace table plus a test namespace, writing an object as a document and reading a
 * document back through the element dispatch, and a filler that sets every member of any record
 * from its member table (nested records, two elements per vector, derived objects behind bases).
 */
#ifndef ORVSOAP_TESTS_MODEL_SUPPORT_H
#define ORVSOAP_TESTS_MODEL_SUPPORT_H

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "frame.h"
#include "memio.h"
#include "orvmodel.h"

namespace model_test {

/* The library's table and, last, the namespace of the documents' root element. */
inline const struct Namespace *test_namespaces()
{
    static std::vector<struct Namespace> table;
    if (table.empty()) {
        for (const struct Namespace *p = namespaces; p->id; p++)
            table.push_back(*p);
        table.push_back({"t", "urn:orvsoap:test", nullptr, nullptr});
        table.push_back({nullptr, nullptr, nullptr, nullptr});
    }
    return table.data();
}

struct Ctx {
    std::unique_ptr<struct soap> s;
    MemIO io;
    explicit Ctx(uint32_t mode = 0) : s(new struct soap(mode))
    {
        soap_set_logfile(s.get(), SOAP_IDX_SENT, nullptr);
        soap_set_logfile(s.get(), SOAP_IDX_RECV, nullptr);
        soap_set_namespaces(s.get(), test_namespaces());
        io.attach(s.get());
        s->fpoll = nullptr;
    }
    ~Ctx()
    {
        soap_delete(s.get(), nullptr);
        soap_end(s.get());
        testing::internal::CaptureStderr();
        s.reset();
        std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::string::npos, err.find("not freed")) << err;
        EXPECT_EQ(std::string::npos, err.find("double free")) << err;
    }
    struct soap *get() { return s.get(); }
    struct soap *operator->() { return s.get(); }

    /* The object as a document rooted by tag (and xsi:type when type is set). */
    std::string write(const void *obj, const soap_class_info *ci, const char *tag, const char *type)
    {
        struct soap *soap = s.get();
        io.out.clear();
        soap_begin(soap);
        soap->encodingStyle = nullptr;
        ci->ops->vserialize(obj, soap);
        if (soap_begin_send(soap) || soap_frame_put(soap, ci, obj, tag, type) || soap_end_send(soap))
            return "error " + std::to_string(soap->error);
        return io.out;
    }

    /* Whatever the element dispatch makes of the document; type gets the id it chose. */
    void *read(const std::string &doc, int *type)
    {
        struct soap *soap = s.get();
        io.attach(soap, doc);
        soap_begin(soap);
        *type = 0;
        if (soap_begin_recv(soap))
            return nullptr;
        void *p = soap_getelement(soap, type);
        if (!p)
            return nullptr;
        if (soap_end_recv(soap))
            return nullptr;
        return p;
    }

    /* Reading the document with the class's own reader, as a member would be read. */
    void *read_as(const std::string &doc, const soap_class_info *ci, const char *tag)
    {
        struct soap *soap = s.get();
        io.attach(soap, doc);
        soap_begin(soap);
        if (soap_begin_recv(soap))
            return nullptr;
        void *p = soap_frame_in(soap, ci, tag, nullptr, nullptr);
        if (!p)
            return nullptr;
        if (soap_end_recv(soap))
            return nullptr;
        return p;
    }

    /* Live allocations of the tracking table (always 0 without SOAP_MEM_DEBUG). */
    size_t live_blocks()
    {
        size_t n = 0;
        for (int h = 0; h < SOAP_PTRHASH; h++)
            for (const struct soap_track *t = s->mht[h]; t; t = t->next)
                n += t->live ? 1 : 0;
        return n;
    }
};

/* A lexically valid text for each schema type held in std::string; plain strings carry the
   member's name so that a member read into the wrong place shows in the output. */
inline std::string sample_text(const char *type, const char *tag, int k)
{
    std::string t = type ? type : "";
    if (t == "xsd:dateTime")
        return "2001-02-0" + std::to_string(1 + k % 9) + "T04:05:06Z";
    if (t == "xsd:duration")
        return "P1DT" + std::to_string(1 + k % 9) + "H";
    if (t == "xsd:positiveInteger")
        return std::to_string(7 + k);
    if (t == "xsd:nonNegativeInteger")
        return std::to_string(k);
    if (t == "xsd:integer")
        return std::to_string(-3 - k);
    if (t == "xsd:anyURI" || t == "ns1:swaRef")
        return "cid:part" + std::to_string(k);
    if (t == "protocol:Percentage")
        return std::to_string(10 * (k % 10));
    const char *local = tag ? std::strchr(tag, ':') : nullptr;
    local = local ? local + 1 : tag ? tag : "text";
    return std::string(local) + " <&>" + std::to_string(k);
}

struct Filler {
    struct soap *soap;
    int max_depth = 2;  /* the record under test, its members, and theirs left empty */
    int seed = 0;

    const soap_class_info *pick(const soap_class_info *ci, bool derived)
    {
        if (!derived || !ci->ndescendants)
            return ci;
        return ci->descendants[static_cast<unsigned>(seed++) % ci->ndescendants];
    }

    void *make(const soap_class_info *ci, int depth)
    {
        void *p = soap_instantiate(soap, ci->type, nullptr, nullptr, nullptr);
        if (!p)
            return nullptr;
        ci->ops->vdefault(p, soap);
        fill(ci, p, depth);
        return p;
    }

    void *make_value(int tid, size_t size)
    {
        (void)tid;
        return soap_malloc(soap, size);
    }

    void fill(const soap_class_info *ci, void *obj, int depth)
    {
        const soap_class_info *chain[SOAP_FRAME_MAXDEPTH];
        int n = 0;
        for (const soap_class_info *c = ci; c; c = c->base)
            chain[n++] = c;
        char *base = static_cast<char *>(obj);
        int k = depth;
        if (ci->type == SOAP_TYPE_xsd__base64Binary) {
            xsd__base64Binary *b = static_cast<xsd__base64Binary *>(obj);
            b->__size = 5;
            b->__ptr = static_cast<unsigned char *>(soap_malloc(soap, 5));
            std::memcpy(b->__ptr, "orv\0\xff", 5);
            return;
        }
        for (int j = n - 1; j >= 0; j--) {
            for (unsigned i = 0; i < chain[j]->nmembers; i++, k++) {
                const soap_member_info *m = &chain[j]->members[i];
                fill_member(m, base + m->offset, depth, k);
            }
        }
    }

    static void store(void *cell, const void *p) { soap_frame_store_ptr(cell, p); }

    std::string *new_string(int tid)
    {
        return static_cast<std::string *>(soap_instantiate(soap, tid, nullptr, nullptr, nullptr));
    }

    void fill_member(const soap_member_info *m, char *p, int depth, int k)
    {
        const soap_type_entry *te = soap_type_entry_of(m->tid);
        long count = te && te->kind == SOAP_TK_ENUM ? static_cast<const soap_enum_info *>(te->info)->count : 1;
        switch (m->kind) {
        case SOAP_MK_STRING:
        case SOAP_MK_ATTR_STRING:
            *reinterpret_cast<std::string *>(p) = sample_text(m->type, m->tag, k);
            break;
        case SOAP_MK_TEXT:
            *reinterpret_cast<std::string *>(p) = sample_text(m->type, "text", k);
            break;
        case SOAP_MK_PSTRING:
        case SOAP_MK_ATTR_PSTRING: {
            std::string *s = new_string(m->tid);
            *s = sample_text(m->type, m->tag, k);
            store(p, s);
            break;
        }
        case SOAP_MK_VSTRING: {
            auto *v = reinterpret_cast<std::vector<std::string> *>(p);
            v->push_back(sample_text(m->type, m->tag, k));
            v->push_back(sample_text(m->type, m->tag, k + 1));
            break;
        }
        case SOAP_MK_ENUM:
        case SOAP_MK_ATTR_ENUM: {
            int v = static_cast<int>(k % count);
            std::memcpy(p, &v, sizeof v);
            break;
        }
        case SOAP_MK_PENUM:
        case SOAP_MK_ATTR_PENUM: {
            int v = static_cast<int>((k + 1) % count);
            void *q = make_value(m->tid, sizeof(int));
            std::memcpy(q, &v, sizeof v);
            store(p, q);
            break;
        }
        case SOAP_MK_VENUM: {
            const soap_vector_info *vi = static_cast<const soap_vector_info *>(soap_type_entry_of(m->vid)->info);
            int a = static_cast<int>(k % count), b = static_cast<int>((k + 1) % count);
            vi->ops->push(p, &a);
            vi->ops->push(p, &b);
            break;
        }
        case SOAP_MK_BOOL:
            *reinterpret_cast<bool *>(p) = (k & 1) != 0;
            break;
        case SOAP_MK_PBOOL: {
            bool *q = static_cast<bool *>(make_value(m->tid, sizeof(bool)));
            *q = (k & 1) == 0;
            store(p, q);
            break;
        }
        case SOAP_MK_INT:
            *reinterpret_cast<int *>(p) = 200 + k;
            break;
        case SOAP_MK_PINT: {
            int *q = static_cast<int *>(make_value(m->tid, sizeof(int)));
            *q = 200 + k;
            store(p, q);
            break;
        }
        case SOAP_MK_DOUBLE:
            *reinterpret_cast<double *>(p) = 0.5 + k;
            break;
        case SOAP_MK_PDOUBLE: {
            double *q = static_cast<double *>(make_value(m->tid, sizeof(double)));
            *q = 0.25 + k;
            store(p, q);
            break;
        }
        case SOAP_MK_PCLASS:
            if (depth + 1 < max_depth)
                store(p, make(pick(soap_class_info_of(m->tid), true), depth + 1));
            break;
        case SOAP_MK_VCLASS:
            if (depth + 1 < max_depth) {
                const soap_vector_info *vi = static_cast<const soap_vector_info *>(soap_type_entry_of(m->vid)->info);
                const soap_class_info *ci = soap_class_info_of(m->tid);
                int copies = m->min > 2 ? m->min : 2;
                for (int i = 0; i < copies; i++)
                    vi->ops->push(p, make(pick(ci, i == copies - 1), depth + 1));
            }
            break;
        default:
            break;
        }
    }
};

}  // namespace model_test

#endif
