/* dime.cpp */
#include "soapengine.h"
