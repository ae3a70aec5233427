// demo.cpp -- a service daemon's first conversation with its provider: register the machine's
// service profile, submit a problem report, and fetch it back with the provider's answers.
// Not a test: it stops at the first failure and prints the fault.
//
// usage: demo [BASE-URL]   e.g. demo http://127.0.0.1:9080
// Without BASE-URL each proxy uses its built-in default endpoint.
#include <cstdio>
#include <string>

#include "orvsoap.h"

namespace {

// What the daemon knows about its machine and its account with the provider.
const char *const kUser = "daemon";
const char *const kPassword = "secret";

// The answer and action kinds this daemon acts on, by the dynamic class of the record.
const char *answer_kind(const protocolProblemReport__Answer *a)
{
    switch (a->soap_type()) {
    case SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAction:
        return "Answer.Server.Action";
    case SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAdministration_x002eAcknowledgment:
        return "Answer.Server.Administration.Acknowledgment";
    case SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAdministration_x002eDuplicate:
        return "Answer.Server.Administration.Duplicate";
    case SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAdministration_x002eRerouted:
        return "Answer.Server.Administration.Rerouted";
    case SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAdministration_x002eInsufficientInformation:
        return "Answer.Server.Administration.InsufficientInformation";
    default:
        return "Answer (not handled by this daemon)";
    }
}

const char *action_kind(const protocolProblemReport__Action *a)
{
    switch (a->soap_type()) {
    case SOAP_TYPE_protocolProblemReport__Action_x002eUpdate_x002eInstall_x002ePermanent:
        return "Action.Update.Install.Permanent";
    case SOAP_TYPE_protocolProblemReport__Action_x002eUpdate_x002eInstall_x002eTemporary:
        return "Action.Update.Install.Temporary";
    case SOAP_TYPE_protocolProblemReport__Action_x002ePart_x002eShip:
        return "Action.Part.Ship";
    case SOAP_TYPE_protocolProblemReport__Action_x002eReboot:
        return "Action.Reboot";
    default:
        return "Action (not handled by this daemon)";
    }
}

const char *or_none(const std::string *s) { return s ? s->c_str() : "-"; }

int failed(const char *what, struct soap *proxy)
{
    fprintf(stderr, "%s failed:\n", what);
    soap_print_fault(proxy, stderr);
    return 1;
}

void print_answer(int n, const protocolProblemReport__Answer *a)
{
    printf("    %d. %s: %s\n", n, answer_kind(a), or_none(a->description));
    if (a->soap_type() != SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAction)
        return;
    const auto *act = static_cast<const protocolProblemReport__Answer_x002eServer_x002eAction *>(a)->action;
    if (!act)
        return;
    printf("       action %s: %s\n", action_kind(act), or_none(act->description));
    if (act->soap_type() == SOAP_TYPE_protocolProblemReport__Action_x002eUpdate_x002eInstall_x002ePermanent) {
        for (const auto *u : static_cast<const protocolProblemReport__Action_x002eUpdate *>(act)->updateInformation)
            printf("       update %s for %s (confidence %s%%)\n", or_none(u->updateId), or_none(u->product),
                   or_none(u->confidence));
    } else if (act->soap_type() == SOAP_TYPE_protocolProblemReport__Action_x002ePart_x002eShip) {
        for (const auto *p : static_cast<const protocolProblemReport__Action_x002ePart *>(act)->partInformation)
            printf("       part %s (%s) for %s\n", or_none(p->partId), or_none(p->type), or_none(p->product));
    }
}

}  // namespace

int main(int argc, char **argv)
{
    // The endpoints must outlive the proxies: they borrow them.
    std::string profile_url, report_url;
    if (argc > 1) {
        profile_url = std::string(argv[1]) + "/orv/v1.0/services/Profile";
        report_url = std::string(argv[1]) + "/orv/v1.0/services/ProblemReport";
    }

    // Credentials go in the message header of every call.
    std::string user = kUser, password = kPassword;
    protocol__Credentials credentials;
    credentials.username = &user;
    credentials.password = &password;
    protocol__Header header;
    header.credentials.push_back(&credentials);

    // The machine, as both services see it.
    std::string machine_type = "9117", model = "MMA", serial = "SN-10A4F7", host = "sp-0042.example.org";
    protocol__IdentityType machine = protocol__IdentityType__system;
    protocol__Identity identity;
    identity.type = &machine;
    identity.hostName = &host;
    identity.serialNumber = &serial;
    identity.version = &model;
    identity.product = &machine_type;

    // ---- the service profile ----------------------------------------------------------------
    ProfileSoapBindingProxy profile(SOAP_IO_KEEPALIVE);
    if (!profile_url.empty())
        profile.soap_endpoint = profile_url.c_str();
    profile.connect_timeout = 5;
    profile.send_timeout = 10;
    profile.recv_timeout = 10;

    std::string contact_name = "Operations desk", email = "ops@example.org";
    protocol__Contact contact;
    contact.name = &contact_name;
    contact.email.push_back(email);
    protocolProfile__ProfileContent wanted;
    wanted.identity = &identity;
    wanted.contact.push_back(&contact);

    __protocolProfile__createResponse created;
    profile.soap_header(&header);
    if (profile.create(&wanted, created) != SOAP_OK || !created.protocolProfile__createResponse)
        return failed("Profile create", &profile);
    const protocolProfile__ProfileContent *p = created.protocolProfile__createResponse;
    printf("Profile service %s\n", profile.soap_endpoint);
    printf("  registered %s, state %s, contact %s\n", p->thisURI.empty() ? "-" : p->thisURI[0].c_str(),
           p->state ? soap_protocolProfile__ProfileState2s(&profile, *p->state) : "-",
           p->contact.empty() ? "-" : or_none(p->contact[0]->name));

    // ---- a problem report ---------------------------------------------------------------------
    ProblemReportSoapBindingProxy reports(SOAP_IO_KEEPALIVE);
    if (!report_url.empty())
        reports.soap_endpoint = report_url.c_str();
    reports.connect_timeout = 5;
    reports.send_timeout = 10;
    reports.recv_timeout = 10;

    std::string title = "Fan 3 failed in the processor drawer";
    std::string description = "Fan 3 reports 0 rpm; inlet temperature 71 C above the 70 C threshold.";
    std::string occurred = "2026-05-01T07:59:12Z";
    std::string severity = "2";
    protocolProblemReport__ProblemReportContent report;
    report.subject = &identity;
    report.title = &title;
    report.problemDescription = &description;
    report.occurrenceDateTime = &occurred;
    report.severity = &severity;
    report.problemType.push_back(protocolProblemReport__ProblemType__dysfunction);
    report.impact.push_back(protocolProblemReport__Impact__systemImpaired);

    __protocolProblemReport__submitResponse submitted;
    reports.soap_header(&header);
    if (reports.submit(&report, submitted) != SOAP_OK || !submitted.protocolProblemReport__submitResponse)
        return failed("ProblemReport submit", &reports);
    const protocolProblemReport__ProblemReportContent *s = submitted.protocolProblemReport__submitResponse;
    std::string report_uri = s->thisURI.empty() ? std::string() : s->thisURI[0];
    printf("ProblemReport service %s\n", reports.soap_endpoint);
    printf("  submitted %s, state %s, at %s\n", report_uri.c_str(),
           s->state ? soap_protocolProblemReport__ProblemReportState2s(&reports, *s->state) : "-",
           or_none(s->submitDateTime));
    for (const auto *spr : s->serviceProviderReport)
        printf("  provider case %s (%s), %s\n", or_none(spr->id), or_none(spr->authority), or_none(spr->state));

    // ---- fetch it back with the provider's answers ---------------------------------------------
    header.targetURI = &report_uri;
    _protocolProblemReport__getRequest get;
    __protocolProblemReport__getResponse fetched;
    reports.soap_header(&header);
    if (reports.get(&get, fetched) != SOAP_OK || !fetched.protocolProblemReport__getResponse)
        return failed("ProblemReport get", &reports);
    const protocolProblemReport__ProblemReportContent *r = fetched.protocolProblemReport__getResponse;
    printf("  fetched back: \"%s\", processing time %s, %zu answers\n", or_none(r->title), or_none(r->processTime),
           r->answer.size());
    int n = 0;
    for (const auto *a : r->answer)
        print_answer(++n, a);

    // Everything the calls produced belongs to the proxies; release it.
    reports.destroy();
    profile.destroy();
    return 0;
}
