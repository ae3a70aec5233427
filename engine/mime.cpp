/* mime.cpp */
#include "soapengine.h"
