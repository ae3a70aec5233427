/* alloc_failure_test.cpp -- a call whose k-th block allocation fails, for every k the call
 * takes: it ends in SOAP_EOM, or, where the block was only a copy kept for the record (the action
 * string at connect, a head value of the answer), in full success; never in anything else.  And
 * the proxy serves the next call as if nothing had happened.
 */
#include <cstdlib>

#include "proxy_support.h"

using namespace proxy_test;

namespace {

/* A block allocator that refuses the fail_at-th request (counting from 1) and keeps the rest,
 * freeing them at its end: blocks from the fmalloc hook are the hook's own. */
struct FailingBlocks {
    int fail_at = 0;
    int count = 0;
    std::vector<void *> blocks;
    ~FailingBlocks()
    {
        for (void *p : blocks)
            free(p);
    }
};

void *failing_malloc(struct soap *soap, size_t n)
{
    FailingBlocks *f = static_cast<FailingBlocks *>(soap->user);
    if (++f->count == f->fail_at)
        return nullptr;
    void *p = malloc(n);
    f->blocks.push_back(p);
    return p;
}

class AllocationFailure : public ProxyTest {};

TEST_F(AllocationFailure, EachFailedBlockGivesOutOfMemoryAndTheNextCallWorks)
{
    std::string url = profile_url();
    auto &p = make<ProfileSoapBindingProxy>(url.c_str(), SOAP_IO_KEEPALIVE);
    FailingBlocks blocks;
    p.user = &blocks;
    p.fmalloc = failing_malloc;
    DaemonHeader hdr;
    ProfileRequest req;

    /* how many blocks one call takes */
    p.soap_header(&hdr.header);
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, p.create(&req.content, resp));
    int needed = blocks.count;
    p.destroy();

    int optional = 0;
    for (int k = 1; k <= needed; k++) {
        blocks.fail_at = 0;
        p.soap_header(&hdr.header);
        blocks.count = 0;
        blocks.fail_at = k;
        __protocolProfile__createResponse failed;
        int r = p.create(&req.content, failed);
        if (r == SOAP_OK) {
            EXPECT_NE(nullptr, failed.protocolProfile__createResponse) << "block " << k << " of " << needed;
            optional++;
        } else {
            EXPECT_EQ(SOAP_EOM, r) << "block " << k << " of " << needed;
        }
        p.destroy();
        blocks.fail_at = 0;
        p.soap_header(&hdr.header);
        __protocolProfile__createResponse ok;
        EXPECT_EQ(SOAP_OK, p.create(&req.content, ok)) << "after failing block " << k;
        EXPECT_NE(nullptr, ok.protocolProfile__createResponse) << "after failing block " << k;
        p.destroy();
    }
    /* every block a call takes carries something the call needs */
    EXPECT_EQ(optional, 0) << "of " << needed;
    RecordProperty("blocks_per_call", needed);
}

}  // namespace
