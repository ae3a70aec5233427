#include "orvsoap.h"
int main() { return 0; }
