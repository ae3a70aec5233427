/* reader.cpp */
#include "soapengine.h"
