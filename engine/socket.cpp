/* socket.cpp */
#include "soapengine.h"
