// A daemon's view of an installed orvsoap: one include, one link line.
#include <orvsoap.h>
int main()
{
    struct soap ctx;
    protocolProfile__ProfileContent profile;
    profile.thisURI.push_back("urn:test");
    return (ctx.state == 1 && profile.soap_type() == SOAP_TYPE_protocolProfile__ProfileContent) ? 0 : 1;
}
