/* namespacerows.h -- the rows of the proxies' namespace tables, written once for both classes.
 * Private to bindings/; the process-wide table `namespaces` of the generated frame holds the same
 * rows (a test keeps them equal).
 */
#ifndef ORVSOAP_BINDINGS_NAMESPACEROWS_H
#define ORVSOAP_BINDINGS_NAMESPACEROWS_H

#define SOAP_PROXY_NS_ROOT "http://xml.orvsoap.org/xmlns/b2b/orv/v1.0"

/* SOAP 1.1 URIs first; the patterns let the same rows accept SOAP 1.2 and other schema years.
 * The order counts: the first four rows have fixed roles in the engine. */
#define SOAP_PROXY_NAMESPACE_ROWS                                                                      \
    {                                                                                                  \
        {"SOAP-ENV", "http://schemas.xmlsoap.org/soap/envelope/", "http://www.w3.org/*/soap-envelope", \
         nullptr},                                                                                     \
        {"SOAP-ENC", "http://schemas.xmlsoap.org/soap/encoding/", "http://www.w3.org/*/soap-encoding", \
         nullptr},                                                                                     \
        {"xsi", "http://www.w3.org/2001/XMLSchema-instance", "http://www.w3.org/*/XMLSchema-instance", \
         nullptr},                                                                                     \
        {"xsd", "http://www.w3.org/2001/XMLSchema", "http://www.w3.org/*/XMLSchema", nullptr},         \
        {"protocolHTTP", SOAP_PROXY_NS_ROOT "/Transport/Http", nullptr, nullptr},                      \
        {"ns1", "http://ws-i.org/profiles/basic/1.1/xsd", nullptr, nullptr},                           \
        {"protocolPRFilter", SOAP_PROXY_NS_ROOT "/ProblemReport/Filter", nullptr, nullptr},            \
        {"protocolUpdateOrderFilter", SOAP_PROXY_NS_ROOT "/UpdateOrder/Filter", nullptr, nullptr},     \
        {"protocol", SOAP_PROXY_NS_ROOT, nullptr, nullptr},                                            \
        {"protocolInventoryReport", SOAP_PROXY_NS_ROOT "/InventoryReport", nullptr, nullptr},          \
        {"protocolProblemReport", SOAP_PROXY_NS_ROOT "/ProblemReport", nullptr, nullptr},              \
        {"protocolProfile", SOAP_PROXY_NS_ROOT "/Profile", nullptr, nullptr},                          \
        {"protocolStatusReport", SOAP_PROXY_NS_ROOT "/StatusReport", nullptr, nullptr},                \
        {"protocolUpdateOrder", SOAP_PROXY_NS_ROOT "/UpdateOrder", nullptr, nullptr},                  \
        {nullptr, nullptr, nullptr, nullptr},                                                          \
    }

#endif /* ORVSOAP_BINDINGS_NAMESPACEROWS_H */
