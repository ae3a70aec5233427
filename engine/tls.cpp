/* tls.cpp */
#include "soapengine.h"
