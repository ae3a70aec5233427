/* values.cpp */
#include "soapengine.h"
