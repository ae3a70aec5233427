/* http.cpp */
#include "soapengine.h"
