#include <gtest/gtest.h>
#include "soapengine.h"
TEST(Header, ContextIsLarge) { EXPECT_GT(sizeof(struct soap), (size_t)SOAP_BUFLEN); }
