/* writer.cpp */
#include "soapengine.h"
