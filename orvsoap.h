/* orvsoap.h -- everything a service daemon includes: the engine and its
 * context, the message classes of every namespace with their free functions
 * and the operation wrappers; the proxies join as they are built.
 */
#ifndef ORVSOAP_H
#define ORVSOAP_H

#include "soapengine.h"
#include "orvmodel.h"

#endif
