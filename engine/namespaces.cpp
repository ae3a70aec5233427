/* namespaces.cpp */
#include "soapengine.h"
