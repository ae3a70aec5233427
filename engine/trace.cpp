/* trace.cpp */
#include "soapengine.h"
