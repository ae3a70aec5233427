/* references.cpp */
#include "soapengine.h"
