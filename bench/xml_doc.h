/* xml_doc.h -- the problem report the XML benchmarks read and write: one
 * protocolProblemReport__ProblemReportContent with many nested records (contacts, attachments, answers
 * and actions of derived types, rich notes, identities) and text that needs escaping, grown to a
 * target size; plus the in-memory transport and the read and write of one message.  Not a test.
 */
#ifndef ORVSOAP_BENCH_XML_DOC_H
#define ORVSOAP_BENCH_XML_DOC_H

#include <cstdio>
#include <cstring>
#include <deque>
#include <string>

#include "frame.h"
#include "orvmodel.h"

namespace xmlbench {

/* Where the document comes from and goes to: a flat buffer, handed out in frecv-sized pieces. */
struct MemChannel {
    const char *in = nullptr;
    size_t in_len = 0;
    size_t pos = 0;
    std::string out;

    static size_t recv(struct soap *soap, char *buf, size_t len)
    {
        MemChannel *c = static_cast<MemChannel *>(soap->user);
        size_t n = c->in_len - c->pos;
        if (n > len)
            n = len;
        std::memcpy(buf, c->in + c->pos, n);
        c->pos += n;
        return n;
    }
    static int send(struct soap *soap, const char *s, size_t n)
    {
        static_cast<MemChannel *>(soap->user)->out.append(s, n);
        return SOAP_OK;
    }
    void attach(struct soap *soap)
    {
        soap->user = this;
        soap->frecv = recv;
        soap->fsend = send;
        soap->fpoll = nullptr;
    }
};

/* A context for plain XML documents, without trace files.  Output is buffered as it is on a
   socket (the engine picks SOAP_IO_BUFFER there); without a socket it would flush every write. */
inline struct soap *new_context()
{
    struct soap *soap = soap_new1(SOAP_ENC_XML | SOAP_IO_BUFFER);
    soap_set_logfile(soap, SOAP_IDX_SENT, nullptr);
    soap_set_logfile(soap, SOAP_IDX_RECV, nullptr);
    soap->encodingStyle = nullptr;
    return soap;
}

inline void free_context(struct soap *soap)
{
    soap_delete(soap, nullptr);
    soap_end(soap);
    soap_free(soap);
}

static const char kRootTag[] = "protocolProblemReport:submitRequest";

/* One message out: the walk that enters the pointers, then the document. */
inline int write_report(struct soap *soap, MemChannel *ch, const protocolProblemReport__ProblemReportContent *doc)
{
    ch->out.clear();
    soap_begin(soap);
    soap->encodingStyle = nullptr;
    doc->soap_serialize(soap);
    if (soap_begin_send(soap) || doc->soap_put(soap, kRootTag, nullptr) || soap_end_send(soap))
        return soap->error;
    return SOAP_OK;
}

/* One message in, into objects the context owns (until end_message). */
inline protocolProblemReport__ProblemReportContent *read_report(struct soap *soap, MemChannel *ch, const std::string &xml)
{
    ch->in = xml.data();
    ch->in_len = xml.size();
    ch->pos = 0;
    soap->bufidx = soap->buflen = 0;
    soap_begin(soap);
    if (soap_begin_recv(soap))
        return nullptr;
    protocolProblemReport__ProblemReportContent *p =
        soap_get_protocolProblemReport__ProblemReportContent(soap, nullptr, kRootTag, nullptr);
    if (!p || soap_end_recv(soap))
        return nullptr;
    return p;
}

/* What a message made goes back: objects first (soap_delete), then blocks and temporaries. */
inline void end_message(struct soap *soap)
{
    soap_delete(soap, nullptr);
    soap_end(soap);
}

/* Builds the report in an owner context; text lives in the builder. */
class ReportBuilder {
public:
    explicit ReportBuilder(struct soap *owner) : soap_(owner) {}

    /* n scales every list; about 1 KB of document per unit. */
    protocolProblemReport__ProblemReportContent *build(int n)
    {
        auto *r = make<protocolProblemReport__ProblemReportContent>(SOAP_TYPE_protocolProblemReport__ProblemReportContent);
        r->thisURI.push_back("https://orv.example.com/orv/v1.0/problemReports/PR-000042");
        r->thisURI.push_back("urn:orv:pr:000042?view=full&lang=en");
        r->state = enumv<protocolProblemReport__ProblemReportState>(1);
        r->clientURI = str("https://sp.machine.local/diag/problem?id=42&src=sp");
        r->test = boolv(false);
        r->contentInterpretation = enumv<protocol__ContentInterpretation>(0);
        r->subject = identity(0, true);
        r->subjectLocation = address(0);
        r->subjectLocationId = str("DC-7/Row-12/Rack-4");
        r->problemType.push_back(static_cast<protocolProblemReport__ProblemType>(1));
        r->problemType.push_back(static_cast<protocolProblemReport__ProblemType>(3));
        r->title = str("Correctable memory errors above threshold on DIMM <C4> & <C5>");
        r->problemDescription = str(long_text(0, 12));
        r->occurrenceDateTime = str("2024-03-17T08:15:42Z");
        r->submitDateTime = str("2024-03-17T08:16:03Z");
        r->lastModifiedDateTime = str("2024-03-17T09:02:11.250+01:00");
        r->severity = str("2");
        r->impact.push_back(static_cast<protocolProblemReport__Impact>(1));
        r->impact.push_back(static_cast<protocolProblemReport__Impact>(3));
        r->impactDescription = str("Service \"degraded\": one partition runs with 'reduced' memory & no spare");
        for (int i = 0; i < n / 10 + 1; i++)
            r->subjectEnvironment.push_back(identity(i + 1, false));
        for (int i = 0; i < n; i++)
            r->actionTaken.push_back(action(i));
        for (int i = 0; i < 3; i++)
            r->answerPreference.push_back(answer(i));
        r->moreDataExpected = boolv(true);
        for (int i = 0; i < n / 4 + 1; i++)
            r->reference.push_back("urn:orv:kb:" + std::to_string(100000 + i * 37));
        for (int i = 0; i < n; i++)
            r->notes.push_back(long_text(i, 2));
        for (int i = 0; i < n / 4 + 1; i++)
            r->richNotes.push_back(rich_notes(i));
        r->submitter = identity(9999, false);
        r->submitterLocation = address(1);
        for (int i = 0; i < n / 2 + 1; i++)
            r->contact.push_back(contact(i));
        for (int i = 0; i < 2; i++) {
            auto *s = make<protocolProblemReport__ServiceProviderReport>(SOAP_TYPE_protocolProblemReport__ServiceProviderReport);
            s->id = str("SPR-" + std::to_string(7700 + i));
            s->authority = str("orv.example.com");
            s->state = str(i ? "closed" : "open");
            r->serviceProviderReport.push_back(s);
        }
        r->processTime = str("PT4H12M");
        for (int i = 0; i < n / 2 + 1; i++)
            r->answer.push_back(answer(i));
        for (int i = 0; i < n / 4 + 1; i++)
            r->attachment.push_back(attachment(i));
        return r;
    }

private:
    struct soap *soap_;
    std::deque<std::string> text_;

    template <class T> T *make(int type)
    {
        return static_cast<T *>(soap_instantiate(soap_, type, nullptr, nullptr, nullptr));
    }
    std::string *str(const std::string &s)
    {
        text_.push_back(s);
        return &text_.back();
    }
    template <class E> E *enumv(int v)
    {
        E *p = static_cast<E *>(soap_malloc(soap_, sizeof(E)));
        *p = static_cast<E>(v);
        return p;
    }
    bool *boolv(bool v)
    {
        bool *p = static_cast<bool *>(soap_malloc(soap_, sizeof(bool)));
        *p = v;
        return p;
    }

    /* Prose with the characters that need escaping, `lines` sentences long. */
    static std::string long_text(int k, int lines)
    {
        static const char *const kLines[] = {
            "The service processor logged 17 correctable ECC errors within 24 hours on DIMM C4 & C5. ",
            "Threshold is <16 per day>; the partition \"prod-db-2\" keeps running with page retirement on. ",
            "Firmware level FW950.80 (build 'b0312') is below the level that fixes the error counter. ",
            "Customer reports no outage, but the batch window grew by 20% since 2024-03-12 & is at risk. ",
            "Diagnostics: memory BIST passed, scrub rate 1/s, spare rank not available on this <model>. ",
        };
        std::string s;
        for (int i = 0; i < lines; i++)
            s += kLines[(k + i) % 5];
        return s;
    }

    protocol__Identity *identity(int k, bool full)
    {
        auto *p = make<protocol__Identity>(SOAP_TYPE_protocol__Identity);
        p->type = enumv<protocol__IdentityType>(k % 12);
        p->product = str("9080-HEX");
        p->productName = str("Enterprise Server E1080 <model HEX>");
        p->version = str("V" + std::to_string(10 + k % 5));
        p->serialNumber = str("78" + std::to_string(100000 + k * 7919));
        p->component = str("U78DA.ND1." + std::to_string(1000 + k) + "-P0-C" + std::to_string(k % 32));
        p->hostName = str("host" + std::to_string(k) + ".dc7.example.com");
        p->hostAddress = str("10.12." + std::to_string(k % 250) + "." + std::to_string(1 + k % 253));
        if (full) {
            p->uuid = str("4c4c4544-0056-3910-8052-b3c04f4b3432");
            p->platform = str("PHYP");
            p->platformName = str("PowerVM & Hypervisor");
            p->platformVersion = str("FW950.80");
            p->systemName = str("Server-9080-HEX-SN78ABCDE");
            p->partitionId = str("12");
        }
        return p;
    }

    protocol__Address *address(int k)
    {
        auto *a = make<protocol__Address>(SOAP_TYPE_protocol__Address);
        a->addressType = enumv<protocol__AddressType>(k % 5);
        a->localeDependentLines = str("Building " + std::to_string(7 + k) + ", Floor 3 & Mezzanine");
        a->city = str("Zürich");
        a->region = str("ZH");
        a->country = str("CH");
        a->postalCode = str("80" + std::to_string(10 + k % 90));
        a->timeZone = str("Europe/Zurich");
        return a;
    }

    protocol__Telephone *phone(int k)
    {
        auto *t = make<protocol__Telephone>(SOAP_TYPE_protocol__Telephone);
        t->number = str("+41 44 " + std::to_string(100 + k % 900) + " " + std::to_string(1000 + k % 9000));
        if (k & 1)
            t->extension = str(std::to_string(200 + k % 800));
        t->type = str(k & 1 ? "office" : "mobile");
        return t;
    }

    protocol__Contact *contact(int k)
    {
        auto *c = make<protocol__Contact>(SOAP_TYPE_protocol__Contact);
        static const char *const kFirst[] = {"Anna", "Björn", "Chloé", "Dmitri", "Eva", "Farid", "Grace"};
        static const char *const kLast[] = {"Meier", "O'Neill", "Dubois", "Ivanov", "Schmid", "Haddad", "Lee"};
        std::string first = kFirst[k % 7], last = kLast[(k / 7) % 7];
        c->name = str(first + " " + last);
        auto *d = make<protocol__NameDetails>(SOAP_TYPE_protocol__NameDetails);
        d->firstName = str(first);
        d->lastName = str(last);
        if (k % 3 == 0)
            d->prefix = str("Dr.");
        c->nameDetails = d;
        c->organization = str("Example Systems AG & Co. <Operations>");
        c->role = str(k % 2 ? "system administrator" : "on-call engineer");
        c->address.push_back(address(k));
        c->voice.push_back(phone(2 * k));
        c->voice.push_back(phone(2 * k + 1));
        c->email.push_back(first + "." + std::to_string(k) + "@example.com");
        c->email.push_back("ops-team+" + std::to_string(k) + "@example.com");
        c->contactPreference.push_back(static_cast<protocol__ContactPreference>(4));
        c->contactPreference.push_back(static_cast<protocol__ContactPreference>(1));
        return c;
    }

    void action_common(protocolProblemReport__Action *a, int k)
    {
        a->description = str("Step " + std::to_string(k) + ": " + long_text(k, 1));
        a->actionDateTime = str("2024-03-17T0" + std::to_string(k % 10) + ":30:00Z");
        a->timing = enumv<protocolProblemReport__ActionTiming>(k % 3);
        a->intention.push_back(static_cast<protocolProblemReport__ActionIntention>(k % 7));
        a->intention.push_back(static_cast<protocolProblemReport__ActionIntention>((k + 2) % 7));
        a->result.push_back(static_cast<protocolProblemReport__ActionResult>(k % 10));
        a->originator = str("sp-daemon@" + std::to_string(k % 4));
        a->notes = str("result logged in event <" + std::to_string(4711 + k) + "> & forwarded");
    }

    protocolProblemReport__Action *action(int k)
    {
        protocolProblemReport__Action *a;
        switch (k % 6) {
        case 0:
            a = make<protocolProblemReport__Action>(SOAP_TYPE_protocolProblemReport__Action_x002eReboot);
            break;
        case 1: {
            auto *u = make<protocolProblemReport__Action_x002eUpdate>(
                SOAP_TYPE_protocolProblemReport__Action_x002eUpdate_x002eInstall);
            for (int i = 0; i < 2; i++) {
                auto *ui = make<protocolProblemReport__UpdateInformation>(SOAP_TYPE_protocolProblemReport__UpdateInformation);
                ui->product = str("FW950");
                ui->updateId = str("01VH950_" + std::to_string(80 + i + k % 10));
                ui->updateIdQualifier = str("service pack");
                ui->confidence = str(std::to_string(60 + (k + i) % 40));
                u->updateInformation.push_back(ui);
            }
            a = u;
            break;
        }
        case 2: {
            auto *p = make<protocolProblemReport__Action_x002ePart>(SOAP_TYPE_protocolProblemReport__Action_x002ePart_x002eShip);
            for (int i = 0; i < 2; i++) {
                auto *pi = make<protocolProblemReport__PartInformation>(SOAP_TYPE_protocolProblemReport__PartInformation);
                pi->type = str("FRU");
                pi->product = str("9080-HEX");
                pi->partId = str("78P" + std::to_string(4100 + k + i));
                pi->confidence = str(std::to_string(90 - i * 30));
                p->partInformation.push_back(pi);
            }
            a = p;
            break;
        }
        case 3: {
            auto *p = make<protocolProblemReport__Action_x002eInstructions>(
                SOAP_TYPE_protocolProblemReport__Action_x002eInstructions_x002eFollow);
            p->instructions = str("Run `diag -c mem` & attach the <result>; if \"FAIL\", replace the DIMM.");
            a = p;
            break;
        }
        case 4: {
            auto *p = make<protocolProblemReport__Action_x002eInformation>(
                SOAP_TYPE_protocolProblemReport__Action_x002eInformation_x002eReference);
            p->information = str("See tip T" + std::to_string(1000 + k) + " <memory RAS> & its errata");
            a = p;
            break;
        }
        default: {
            auto *p = make<protocolProblemReport__Action_x002eServiceRepresentative>(
                SOAP_TYPE_protocolProblemReport__Action_x002eServiceRepresentative_x002eDispatch);
            p->contact.push_back(contact(k));
            a = p;
            break;
        }
        }
        action_common(a, k);
        return a;
    }

    protocolProblemReport__Answer *answer(int k)
    {
        protocolProblemReport__Answer *a;
        switch (k % 3) {
        case 0: {
            auto *p = make<protocolProblemReport__Answer_x002eServer_x002eAction>(
                SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAction);
            p->action = action(k + 1);
            a = p;
            break;
        }
        case 1: {
            auto *p = make<protocolProblemReport__Answer_x002eClient_x002eAction>(
                SOAP_TYPE_protocolProblemReport__Answer_x002eClient_x002eAction);
            p->action = action(k + 3);
            a = p;
            break;
        }
        default:
            a = make<protocolProblemReport__Answer>(
                SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAdministration_x002eAcknowledgment);
            break;
        }
        a->description = str("Answer " + std::to_string(k) + ": accepted <" + std::to_string(k % 5) + "> & queued");
        return a;
    }

    protocolProblemReport__ProblemReportRichNotes *rich_notes(int k)
    {
        auto *r = make<protocolProblemReport__ProblemReportRichNotes>(SOAP_TYPE_protocolProblemReport__ProblemReportRichNotes);
        r->category = str(k % 2 ? "diagnosis" : "customer");
        r->dateTime = str("2024-03-1" + std::to_string(k % 10) + "T12:00:00Z");
        r->author = identity(500 + k, false);
        r->notes = str(long_text(k + 2, 3));
        return r;
    }

    protocol__Attachment *attachment(int k)
    {
        auto *a = make<protocol__Attachment>(SOAP_TYPE_protocol__Attachment);
        a->thisURI = str("https://orv.example.com/orv/v1.0/attachments/" + std::to_string(90000 + k));
        a->state = enumv<protocol__AttachmentState>(k % 3);
        a->description = str("Service processor dump part " + std::to_string(k) + " <compressed> & signed");
        a->size = str(std::to_string(4096 + k * 512));
        a->dateTime = str("2024-03-17T08:1" + std::to_string(k % 10) + ":00Z");
        a->reference.push_back("urn:orv:event:" + std::to_string(4711 + k));
        a->dataURI = str("cid:dump-" + std::to_string(k) + "@sp.local");
        auto *d = make<protocol__Data>(SOAP_TYPE_protocol__Data);
        d->encoding = enumv<protocol__Encoding>(0);
        static const char kB64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        for (int i = 0; i < 192; i++)
            d->text += kB64[(i * 7 + k) & 63];
        a->data = d;
        a->sequenceNumber = str(std::to_string(k));
        return a;
    }
};

/* The document of about `bytes` bytes, and the object it was written from (made in the builder's
   owner context; its text lives in the builder). */
inline std::string make_document(ReportBuilder *builder, size_t bytes, protocolProblemReport__ProblemReportContent **obj)
{
    MemChannel ch;
    struct soap *w = new_context();
    ch.attach(w);
    int rc = write_report(w, &ch, builder->build(100));
    if (!rc) {
        int n = static_cast<int>(100.0 * static_cast<double>(bytes) / static_cast<double>(ch.out.size()));
        *obj = builder->build(n);
        rc = write_report(w, &ch, *obj);
    }
    std::string doc = rc ? std::string() : ch.out;
    if (rc)
        std::fprintf(stderr, "writing the document failed: error %d\n", rc);
    free_context(w);
    return doc;
}

}  // namespace xmlbench

#endif
