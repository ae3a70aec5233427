/* context.cpp */
#include "soapengine.h"
