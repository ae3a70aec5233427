/* memory.cpp */
#include "soapengine.h"
