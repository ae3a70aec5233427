// demo.cpp -- writes a small SOAP message through the engine to standard
// output, reads the same bytes back, and prints what it read.
#include <cstdio>
#include <cstring>
#include <string>

#include "orvsoap.h"

static const struct Namespace demo_namespaces[] = {
    {"SOAP-ENV", "http://schemas.xmlsoap.org/soap/envelope/", "http://www.w3.org/*/soap-envelope", nullptr},
    {"SOAP-ENC", "http://schemas.xmlsoap.org/soap/encoding/", "http://www.w3.org/*/soap-encoding", nullptr},
    {"xsi", "http://www.w3.org/2001/XMLSchema-instance", "http://www.w3.org/*/XMLSchema-instance", nullptr},
    {"xsd", "http://www.w3.org/2001/XMLSchema", "http://www.w3.org/*/XMLSchema", nullptr},
    {"protocol", "http://xml.orvsoap.org/xmlns/b2b/orv/v1.0", nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr}};

struct Wire {
    std::string bytes;
    size_t pos = 0;
};

static int send_and_keep(struct soap *soap, const char *s, size_t n)
{
    static_cast<Wire *>(soap->user)->bytes.append(s, n);
    return fwrite(s, 1, n, stdout) == n ? SOAP_OK : SOAP_EOF;
}

static size_t recv_kept(struct soap *soap, char *buf, size_t len)
{
    Wire *w = static_cast<Wire *>(soap->user);
    size_t n = std::min(len, w->bytes.size() - w->pos);
    memcpy(buf, w->bytes.data() + w->pos, n);
    w->pos += n;
    return n;
}

static int fail(struct soap *soap)
{
    soap_print_fault(soap, stderr);
    return 1;
}

int main()
{
    Wire wire;
    struct soap ctx(SOAP_XML_INDENT);
    ctx.user = &wire;
    ctx.fsend = send_and_keep;
    ctx.frecv = recv_kept;
    ctx.omode |= SOAP_ENC_XML;  // the message alone, no HTTP head
    ctx.imode |= SOAP_ENC_XML;
    ctx.encodingStyle = nullptr;
    soap_set_namespaces(&ctx, demo_namespaces);

    const char *machine = "sp-0042 <rack 7>";
    int reports = 3;
    double complete = 62.5;

    printf("== written ==\n");
    soap_begin(&ctx);
    if (soap_begin_send(&ctx) || soap_envelope_begin_out(&ctx) || soap_body_begin_out(&ctx)
        || soap_element_begin_out(&ctx, "protocol:status", 0, nullptr)
        || soap_outstring(&ctx, "protocol:machine", -1, const_cast<char **>(&machine), "", 4)
        || soap_outint(&ctx, "protocol:openReports", -1, &reports, "", 1)
        || soap_outdouble(&ctx, "protocol:percentComplete", -1, &complete, "", 558)
        || soap_element_end_out(&ctx, "protocol:status") || soap_body_end_out(&ctx)
        || soap_envelope_end_out(&ctx) || soap_end_send(&ctx))
        return fail(&ctx);

    char *got_machine = nullptr;
    int got_reports = 0;
    double got_complete = 0;
    if (soap_begin_recv(&ctx) || soap_envelope_begin_in(&ctx) || soap_recv_header(&ctx)
        || soap_body_begin_in(&ctx) || soap_element_begin_in(&ctx, "protocol:status", 0, nullptr)
        || !soap_instring(&ctx, "protocol:machine", &got_machine, nullptr, 4, 1, 0, -1)
        || !soap_inint(&ctx, "protocol:openReports", &got_reports, nullptr, 1)
        || !soap_indouble(&ctx, "protocol:percentComplete", &got_complete, nullptr, 558)
        || soap_element_end_in(&ctx, "protocol:status") || soap_body_end_in(&ctx)
        || soap_envelope_end_in(&ctx) || soap_end_recv(&ctx))
        return fail(&ctx);

    printf("== read back (SOAP 1.%d, %zu bytes) ==\n", ctx.version, wire.bytes.size());
    printf("machine:         %s\n", got_machine);
    printf("open reports:    %d\n", got_reports);
    printf("percentComplete: %g\n", got_complete);
    soap_end(&ctx);
    return 0;
}
