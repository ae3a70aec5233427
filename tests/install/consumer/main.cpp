// A daemon's view of an installed orvsoap: one include, one link line.
#include <orvsoap.h>
int main()
{
    struct soap ctx;
    int rc = ctx.state == 1 ? 0 : 1;
    return rc;
}
