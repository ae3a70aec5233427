/* certcheck.cpp */
#include "soapengine.h"
