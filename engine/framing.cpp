/* framing.cpp */
#include "soapengine.h"
