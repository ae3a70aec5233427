/* xml_baselines.h -- what the XML benchmarks compare against: libxml2 building and freeing its tree
 * of the same bytes, pugixml parsing them, and libxml2's xmlTextWriter writing the same elements,
 * attributes and text into a memory buffer.  Each part is there only when its library was found
 * (ORVSOAP_HAVE_LIBXML2, ORVSOAP_HAVE_PUGIXML).  Not our reader or writer.
 */
#ifndef ORVSOAP_BENCH_XML_BASELINES_H
#define ORVSOAP_BENCH_XML_BASELINES_H

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#ifdef ORVSOAP_HAVE_LIBXML2
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlwriter.h>
#endif
#ifdef ORVSOAP_HAVE_PUGIXML
#include <pugixml.hpp>
#endif

namespace xmlbench {

#ifdef ORVSOAP_HAVE_LIBXML2

/* The tree libxml2 builds of the bytes, freed again; the number of elements, or -1. */
inline long libxml2_read(const std::string &xml)
{
    xmlDocPtr doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "report.xml", nullptr, 0);
    if (!doc)
        return -1;
    long n = xmlDocGetRootElement(doc) ? 1 : 0;
    xmlFreeDoc(doc);
    return n;
}

/* The document as the calls a writer gets: start tag, attribute (namespace declarations
   included, as written), text, end tag.  Taken once from libxml2's tree of our output. */
class WriterScript {
public:
    enum Kind { START, ATTR, TEXT, END };
    struct Step {
        Kind kind;
        const xmlChar *name;
        const xmlChar *value;
    };

    bool load(const std::string &xml)
    {
        xmlDocPtr doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "report.xml", nullptr, 0);
        if (!doc)
            return false;
        steps_.clear();
        walk(xmlDocGetRootElement(doc));
        xmlFreeDoc(doc);
        return true;
    }

    size_t elements() const
    {
        size_t n = 0;
        for (const Step &s : steps_)
            n += s.kind == START;
        return n;
    }

    /* Writes the document into a fresh buffer of `reserve` bytes; its length, or -1. */
    long replay(size_t reserve) const
    {
        xmlBufferPtr buf = xmlBufferCreateSize(reserve);
        xmlTextWriterPtr w = xmlNewTextWriterMemory(buf, 0);
        if (!w) {
            xmlBufferFree(buf);
            return -1;
        }
        int rc = xmlTextWriterStartDocument(w, nullptr, nullptr, nullptr);
        for (const Step &s : steps_) {
            if (rc < 0)
                break;
            switch (s.kind) {
            case START:
                rc = xmlTextWriterStartElement(w, s.name);
                break;
            case ATTR:
                rc = xmlTextWriterWriteAttribute(w, s.name, s.value);
                break;
            case TEXT:
                rc = xmlTextWriterWriteString(w, s.value);
                break;
            case END:
                rc = xmlTextWriterEndElement(w);
                break;
            }
        }
        if (rc >= 0)
            rc = xmlTextWriterEndDocument(w);
        xmlFreeTextWriter(w);
        long len = rc < 0 ? -1 : static_cast<long>(xmlBufferLength(buf));
        xmlBufferFree(buf);
        return len;
    }

    /* The same, kept: for checking what the replay writes. */
    std::string replay_text(size_t reserve) const
    {
        xmlBufferPtr buf = xmlBufferCreateSize(reserve);
        xmlTextWriterPtr w = xmlNewTextWriterMemory(buf, 0);
        xmlTextWriterStartDocument(w, nullptr, nullptr, nullptr);
        for (const Step &s : steps_) {
            if (s.kind == START)
                xmlTextWriterStartElement(w, s.name);
            else if (s.kind == ATTR)
                xmlTextWriterWriteAttribute(w, s.name, s.value);
            else if (s.kind == TEXT)
                xmlTextWriterWriteString(w, s.value);
            else
                xmlTextWriterEndElement(w);
        }
        xmlTextWriterEndDocument(w);
        xmlFreeTextWriter(w);
        std::string out(reinterpret_cast<const char *>(xmlBufferContent(buf)), xmlBufferLength(buf));
        xmlBufferFree(buf);
        return out;
    }

private:
    std::vector<Step> steps_;
    std::deque<std::string> text_;

    const xmlChar *keep(const std::string &s)
    {
        text_.push_back(s);
        return reinterpret_cast<const xmlChar *>(text_.back().c_str());
    }
    static std::string qname(const xmlNs *ns, const xmlChar *name)
    {
        std::string q;
        if (ns && ns->prefix) {
            q = reinterpret_cast<const char *>(ns->prefix);
            q += ':';
        }
        return q + reinterpret_cast<const char *>(name);
    }

    void walk(xmlNodePtr n)
    {
        for (; n; n = n->next) {
            if (n->type == XML_TEXT_NODE || n->type == XML_CDATA_SECTION_NODE) {
                steps_.push_back({TEXT, nullptr, keep(reinterpret_cast<const char *>(n->content))});
                continue;
            }
            if (n->type != XML_ELEMENT_NODE)
                continue;
            steps_.push_back({START, keep(qname(n->ns, n->name)), nullptr});
            for (xmlNsPtr d = n->nsDef; d; d = d->next) {
                std::string name = d->prefix ? "xmlns:" + std::string(reinterpret_cast<const char *>(d->prefix)) : "xmlns";
                steps_.push_back({ATTR, keep(name), keep(reinterpret_cast<const char *>(d->href))});
            }
            for (xmlAttrPtr a = n->properties; a; a = a->next) {
                xmlChar *v = xmlNodeGetContent(reinterpret_cast<xmlNodePtr>(a));
                steps_.push_back({ATTR, keep(qname(a->ns, a->name)), keep(v ? reinterpret_cast<const char *>(v) : "")});
                xmlFree(v);
            }
            walk(n->children);
            steps_.push_back({END, nullptr, nullptr});
        }
    }
};

#endif /* ORVSOAP_HAVE_LIBXML2 */

#ifdef ORVSOAP_HAVE_PUGIXML

/* pugixml's parse of the same bytes (copied into its own buffer, default options), then freed. */
inline long pugixml_read(const std::string &xml)
{
    pugi::xml_document doc;
    pugi::xml_parse_result r = doc.load_buffer(xml.data(), xml.size());
    return r ? 1 : -1;
}

#endif /* ORVSOAP_HAVE_PUGIXML */

}  // namespace xmlbench

#endif
