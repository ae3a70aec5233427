/* envelope.cpp */
#include "soapengine.h"
