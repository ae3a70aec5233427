/* orvsoap.h -- everything a service daemon includes: the engine and its
 * context; the proxies and message classes join as they are built.
 */
#ifndef ORVSOAP_H
#define ORVSOAP_H

#include "engine/soapengine.h"

#endif
