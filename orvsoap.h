/* orvsoap.h -- everything a service daemon includes: the engine and its
 * context, the message classes of every namespace with their free functions
 * and the operation wrappers, and the two service proxies.
 */
#ifndef ORVSOAP_H
#define ORVSOAP_H

#include "soapengine.h"
#include "orvmodel.h"
#include "bindings/ProfileSoapBindingProxy.h"
#include "bindings/ProblemReportSoapBindingProxy.h"

#endif
