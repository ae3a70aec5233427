/* server.cpp */
#include "soapengine.h"
