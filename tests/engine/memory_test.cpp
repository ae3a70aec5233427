/* memory_test.cpp -- ownership of message memory by the context: guarded
 * blocks, the object list, block lists, hand-over of ownership, and the
 * tracking reports (leaks, double and stray frees).
 */
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "soapengine.h"

namespace {

struct Ctx {
    struct soap *s;
    Ctx() : s(soap_new()) {}
    ~Ctx()
    {
        soap_end(s);
        soap_free(s);
    }
};

std::string fmt(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string fmt(const char *format, ...)
{
    char buf[512];
    va_list ap;
    va_start(ap, format);
    vsnprintf(buf, sizeof buf, format, ap);
    va_end(ap);
    return buf;
}

size_t chain_length(struct soap *s)
{
    size_t n = 0;
    for (void *link = s->alist; link; n++)
        memcpy(&link, link, sizeof link);
    return n;
}

uint16_t u16_at(const char *p)
{
    uint16_t v;
    memcpy(&v, p, sizeof v);
    return v;
}

/* ------------------------------------------------------------------------ */

TEST(MemoryBlocks, ZeroSizeGivesSharedWordOutsideTheChain)
{
    Ctx c;
    void *a = soap_malloc(c.s, 0);
    void *b = soap_malloc(c.s, 0);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a, b);
    EXPECT_EQ(c.s->alist, nullptr);
    soap_dealloc(c.s, a);  /* not a block: nothing happens to the chain */
    EXPECT_EQ(c.s->alist, nullptr);
    EXPECT_EQ(c.s->error, SOAP_OK);
}

TEST(MemoryBlocks, GuardStandsRightBehindTheRoundedSize)
{
    /* n -> m = n + 2 rounded up to a multiple of 4; guard at m - 2 */
    const size_t expect_m[] = {0, 4, 4, 8, 8};
    for (size_t n = 1; n <= 4; n++) {
        Ctx c;
        char *p = static_cast<char *>(soap_malloc(c.s, n));
        ASSERT_NE(p, nullptr);
        size_t m = expect_m[n];
        EXPECT_EQ(u16_at(p + m - 2), SOAP_CANARY) << "n=" << n;
        EXPECT_EQ(c.s->alist, static_cast<void *>(p + m)) << "n=" << n;
        uint32_t stored;
        memcpy(&stored, p + m + sizeof(void *), sizeof stored);
        EXPECT_EQ(stored, m) << "n=" << n;
        EXPECT_EQ(c.s->alloced, 1);
    }
}

TEST(MemoryBlocks, ChainHoldsEveryBlockNewestFirst)
{
    Ctx c;
    char *a = static_cast<char *>(soap_malloc(c.s, 10));
    char *b = static_cast<char *>(soap_malloc(c.s, 7));
    ASSERT_TRUE(a && b);
    EXPECT_EQ(chain_length(c.s), 2u);
    EXPECT_EQ(c.s->alist, static_cast<void *>(b + 12));
}

TEST(MemoryBlocks, WriteOneBytePastABlockWithoutSlackIsCaughtAtEnd)
{
    Ctx c;
    char *keep = static_cast<char *>(soap_malloc(c.s, 16));
    char *p = static_cast<char *>(soap_malloc(c.s, 2));  /* m = 4: no slack */
    ASSERT_TRUE(keep && p);
    char saved = p[2];
    p[2] ^= 0x5A;
    testing::internal::CaptureStderr();
    soap_end(c.s);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err, "Data corruption in dynamic allocation (see logs)\n");
    EXPECT_EQ(c.s->error, SOAP_MOE);
    /* nothing else was freed: the chain is still there */
    EXPECT_EQ(chain_length(c.s), 2u);
    p[2] = saved;
    c.s->error = SOAP_OK;
    soap_end(c.s);
    EXPECT_EQ(c.s->alist, nullptr);
    EXPECT_EQ(c.s->error, SOAP_OK);
}

TEST(MemoryBlocks, WriteIntoSlackIsHarmless)
{
    Ctx c;
    char *p = static_cast<char *>(soap_malloc(c.s, 1));  /* m = 4: one byte of slack */
    p[1] = 'x';
    testing::internal::CaptureStderr();
    soap_end(c.s);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(c.s->error, SOAP_OK);
    EXPECT_EQ(c.s->alist, nullptr);
}

TEST(MemoryBlocks, CorruptionFoundWhileFreeingOneBlockStopsTheWalk)
{
    Ctx c;
    char *old = static_cast<char *>(soap_malloc(c.s, 8));
    char *bad = static_cast<char *>(soap_malloc(c.s, 6));  /* m = 8: guard at 6 */
    char *newest = static_cast<char *>(soap_malloc(c.s, 8));
    (void)newest;
    bad[6] = 0;
    testing::internal::CaptureStderr();
    soap_dealloc(c.s, old);  /* the walk passes the bad block first */
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Data corruption in dynamic allocation (see logs)\n");
    EXPECT_EQ(c.s->error, SOAP_MOE);
    EXPECT_EQ(chain_length(c.s), 3u);
    const uint16_t canary = SOAP_CANARY;
    memcpy(bad + 6, &canary, sizeof canary);
    c.s->error = SOAP_OK;
    soap_dealloc(c.s, old);
    EXPECT_EQ(c.s->error, SOAP_OK);
    EXPECT_EQ(chain_length(c.s), 2u);
}

TEST(MemoryBlocks, DeallocOfOneBlockKeepsTheOthers)
{
    Ctx c;
    char *a = static_cast<char *>(soap_malloc(c.s, 3));
    char *b = static_cast<char *>(soap_malloc(c.s, 3));
    char *d = static_cast<char *>(soap_malloc(c.s, 3));
    strcpy(a, "aa");
    strcpy(d, "dd");
    soap_dealloc(c.s, b);  /* a block in the middle */
    EXPECT_EQ(chain_length(c.s), 2u);
    soap_dealloc(c.s, d);  /* the newest */
    EXPECT_EQ(chain_length(c.s), 1u);
    EXPECT_STREQ(a, "aa");
    soap_dealloc(c.s, a);
    EXPECT_EQ(c.s->alist, nullptr);
}

TEST(MemoryBlocks, DeallocAllClearsThePointersThatLivedInBlocks)
{
    Ctx c;
    struct soap *s = c.s;
    s->http_content = soap_strdup(s, "text/xml");
    s->userid = soap_strdup(s, "u");
    s->passwd = soap_strdup(s, "p");
    s->authrealm = soap_strdup(s, "r");
    s->action = soap_strdup(s, "a");
    s->header = static_cast<struct SOAP_ENV__Header *>(soap_malloc(s, 8));
    s->fault = static_cast<struct SOAP_ENV__Fault *>(soap_malloc(s, 8));
    s->mime.boundary = soap_strdup(s, "==b==");
    s->mime.first = s->mime.last = static_cast<struct soap_multipart *>(soap_malloc(s, sizeof(struct soap_multipart)));
    s->dime.first = s->dime.last = s->mime.first;
    soap_dealloc(s, nullptr);
    EXPECT_EQ(s->alist, nullptr);
    EXPECT_EQ(s->http_content, nullptr);
    EXPECT_EQ(s->userid, nullptr);
    EXPECT_EQ(s->passwd, nullptr);
    EXPECT_EQ(s->authrealm, nullptr);
    EXPECT_EQ(s->action, nullptr);
    EXPECT_EQ(s->header, nullptr);
    EXPECT_EQ(s->fault, nullptr);
    EXPECT_EQ(s->mime.boundary, nullptr);
    EXPECT_EQ(s->mime.first, nullptr);
    EXPECT_EQ(s->mime.last, nullptr);
    EXPECT_EQ(s->dime.first, nullptr);
    EXPECT_EQ(s->dime.last, nullptr);
}

TEST(MemoryBlocks, FinishedContextIgnoresDealloc)
{
    struct soap *s = soap_new();
    soap_done(s);
    s->alist = reinterpret_cast<void *>(0x10);  /* would crash if walked */
    soap_dealloc(s, nullptr);
    soap_dealloc(s, s);
    EXPECT_EQ(s->alist, reinterpret_cast<void *>(0x10));
    s->alist = nullptr;
    delete s;
}

TEST(MemoryBlocks, StrdupCopiesIntoABlock)
{
    Ctx c;
    EXPECT_EQ(soap_strdup(c.s, nullptr), nullptr);
    char *t = soap_strdup(c.s, "hello");
    ASSERT_NE(t, nullptr);
    EXPECT_STREQ(t, "hello");
    EXPECT_EQ(chain_length(c.s), 1u);
    char *e = soap_strdup(c.s, "");
    ASSERT_NE(e, nullptr);
    EXPECT_STREQ(e, "");
    EXPECT_EQ(soap_wstrdup(c.s, nullptr), nullptr);
    wchar_t *w = soap_wstrdup(c.s, L"h\u00e9\U0001F600");
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(std::wstring(w), std::wstring(L"h\u00e9\U0001F600"));
}

TEST(MemoryBlocks, NoContextMeansPlainMemory)
{
    char *p = static_cast<char *>(soap_malloc(nullptr, 5));
    ASSERT_NE(p, nullptr);
    memcpy(p, "abcd", 5);
    free(p);
    char *t = soap_strdup(nullptr, "xy");
    ASSERT_NE(t, nullptr);
    EXPECT_STREQ(t, "xy");
    free(t);
}

TEST(MemoryBlocks, HugeRequestFailsWithOutOfMemory)
{
    Ctx c;
    EXPECT_EQ(soap_malloc(c.s, SIZE_MAX - 4), nullptr);
    EXPECT_EQ(c.s->error, SOAP_EOM);
    EXPECT_EQ(c.s->alist, nullptr);
}

/* ------------------------------------------------------------------------ */
/* The block allocator can be replaced: also the seam for failing memory.   */

struct Arena {
    std::vector<void *> given;
    int fail_after = -1;  /* number of allocations that succeed; -1: all */
    static void *alloc(struct soap *soap, size_t n)
    {
        Arena *a = static_cast<Arena *>(soap->user);
        if (a->fail_after == 0)
            return nullptr;
        if (a->fail_after > 0)
            a->fail_after--;
        void *p = malloc(n);
        a->given.push_back(p);
        return p;
    }
    ~Arena()
    {
        for (void *p : given)
            free(p);
    }
};

TEST(MemoryReplacedAllocator, BlocksComeFromItAndAreNotChained)
{
    Ctx c;
    Arena arena;
    c.s->user = &arena;
    c.s->fmalloc = Arena::alloc;
    c.s->alloced = 0;
    void *p = soap_malloc(c.s, 12);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(arena.given.size(), 1u);
    EXPECT_EQ(arena.given[0], p);
    EXPECT_EQ(c.s->alist, nullptr);
    EXPECT_EQ(c.s->alloced, 1);
}

TEST(MemoryReplacedAllocator, ItsFailureIsOutOfMemory)
{
    Ctx c;
    Arena arena;
    arena.fail_after = 0;
    c.s->user = &arena;
    c.s->fmalloc = Arena::alloc;
    EXPECT_EQ(soap_malloc(c.s, 12), nullptr);
    EXPECT_EQ(c.s->error, SOAP_EOM);
    c.s->error = SOAP_OK;
    EXPECT_EQ(soap_strdup(c.s, "abc"), nullptr);
    EXPECT_EQ(c.s->error, SOAP_EOM);
}

/* ------------------------------------------------------------------------ */
/* Objects                                                                   */

struct Deleted {
    static std::vector<void *> log;
    static int fail_type;
    static int fdelete(struct soap_clist *cp)
    {
        log.push_back(cp->ptr);
        return cp->type == fail_type ? 1 : 0;
    }
};
std::vector<void *> Deleted::log;
int Deleted::fail_type = -1;

TEST(MemoryObjects, DeleteAllCallsEveryCallbackAndClearsHeaderAndFault)
{
    Ctx c;
    Deleted::log.clear();
    int a, b;
    ASSERT_NE(soap_link(c.s, &a, 5, -1, Deleted::fdelete), nullptr);
    ASSERT_NE(soap_link(c.s, &b, 6, 3, Deleted::fdelete), nullptr);
    EXPECT_EQ(c.s->clist->ptr, &b);
    EXPECT_EQ(c.s->clist->size, 3);
    c.s->header = reinterpret_cast<struct SOAP_ENV__Header *>(&a);
    c.s->fault = reinterpret_cast<struct SOAP_ENV__Fault *>(&b);
    soap_delete(c.s, nullptr);
    EXPECT_EQ(Deleted::log, (std::vector<void *>{&b, &a}));
    EXPECT_EQ(c.s->clist, nullptr);
    EXPECT_EQ(c.s->header, nullptr);
    EXPECT_EQ(c.s->fault, nullptr);
}

TEST(MemoryObjects, DeleteOneLeavesTheRest)
{
    Ctx c;
    Deleted::log.clear();
    int a, b, d;
    soap_link(c.s, &a, 1, -1, Deleted::fdelete);
    soap_link(c.s, &b, 1, -1, Deleted::fdelete);
    soap_link(c.s, &d, 1, -1, Deleted::fdelete);
    c.s->header = reinterpret_cast<struct SOAP_ENV__Header *>(&a);
    soap_delete(c.s, &b);
    EXPECT_EQ(Deleted::log, std::vector<void *>{&b});
    EXPECT_EQ(c.s->clist->ptr, &d);
    EXPECT_EQ(c.s->clist->next->ptr, &a);
    EXPECT_EQ(c.s->clist->next->next, nullptr);
    EXPECT_NE(c.s->header, nullptr);  /* found: header stays */
    int unknown;
    soap_delete(c.s, &unknown);
    EXPECT_EQ(c.s->header, nullptr);  /* not found: header and fault go */
    soap_delete(c.s, nullptr);
}

TEST(MemoryObjects, FailedCallbackIsReportedAndTheEntryFreedAnyway)
{
    Ctx c;
    Deleted::log.clear();
    Deleted::fail_type = 7;
    int a;
    soap_link(c.s, &a, 7, -1, Deleted::fdelete);
    testing::internal::CaptureStderr();
    soap_delete(c.s, nullptr);
    std::string err = testing::internal::GetCapturedStderr();
    Deleted::fail_type = -1;
    EXPECT_EQ(err, fmt("new(object type = %d) = %p not freed: deletion callback failed\n", 7, (void *)&a));
    EXPECT_EQ(c.s->clist, nullptr);
}

TEST(MemoryObjects, DeallocOfAnObjectDeletesIt)
{
    Ctx c;
    Deleted::log.clear();
    int a;
    soap_link(c.s, &a, 2, -1, Deleted::fdelete);
    soap_malloc(c.s, 4);
    soap_dealloc(c.s, &a);
    EXPECT_EQ(Deleted::log, std::vector<void *>{&a});
    EXPECT_EQ(c.s->clist, nullptr);
    EXPECT_EQ(chain_length(c.s), 1u);
}

TEST(MemoryObjects, EndFreesEntriesButNotObjects)
{
    Ctx c;
    Deleted::log.clear();
    int a;
    soap_link(c.s, &a, 2, -1, Deleted::fdelete);
    soap_end(c.s);
    EXPECT_EQ(c.s->clist, nullptr);
    EXPECT_TRUE(Deleted::log.empty());
}

TEST(MemoryObjects, LinkWithoutPointerIsRefused)
{
    Ctx c;
    EXPECT_EQ(soap_link(c.s, nullptr, 1, -1, Deleted::fdelete), nullptr);
    EXPECT_EQ(c.s->clist, nullptr);
}

/* ------------------------------------------------------------------------ */
/* Hand-over to the caller and to another context                           */

TEST(MemoryOwnership, UnlinkedBlockIsNeitherFreedNorReported)
{
    Ctx c;
    char *p = static_cast<char *>(soap_malloc(c.s, 6));
    char *q = static_cast<char *>(soap_malloc(c.s, 6));
    strcpy(p, "mine");
    (void)q;
    EXPECT_EQ(soap_unlink(c.s, p), 0);
    EXPECT_EQ(chain_length(c.s), 1u);
    EXPECT_EQ(soap_unlink(c.s, p), -1);  /* no longer known */
    testing::internal::CaptureStderr();
    soap_end(c.s);
    soap_done(c.s);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_STREQ(p, "mine");
    free(p);  /* the caller's now, freed from its start */
}

TEST(MemoryOwnership, UnlinkedObjectSurvivesDeleteAll)
{
    Ctx c;
    Deleted::log.clear();
    int a, b;
    soap_link(c.s, &a, 1, -1, Deleted::fdelete);
    soap_link(c.s, &b, 1, -1, Deleted::fdelete);
    EXPECT_EQ(soap_unlink(c.s, &a), 0);
    soap_delete(c.s, nullptr);
    EXPECT_EQ(Deleted::log, std::vector<void *>{&b});
}

TEST(MemoryOwnership, UnlinkOfUnknownOrNullIsMinusOne)
{
    Ctx c;
    int x;
    EXPECT_EQ(soap_unlink(c.s, &x), -1);
    EXPECT_EQ(soap_unlink(c.s, nullptr), -1);
    EXPECT_EQ(soap_unlink(nullptr, &x), -1);
}

TEST(MemoryOwnership, DelegatedDeletionLeavesNothingBehind)
{
    Ctx from, to;
    Deleted::log.clear();
    int a, b;
    char *kept = static_cast<char *>(soap_malloc(to.s, 4));
    char *p1 = static_cast<char *>(soap_malloc(from.s, 5));
    char *p2 = static_cast<char *>(soap_malloc(from.s, 9));
    soap_link(to.s, &a, 1, -1, Deleted::fdelete);
    soap_link(from.s, &b, 1, -1, Deleted::fdelete);
    strcpy(p1, "one");
    strcpy(p2, "two");
    (void)kept;
    soap_delegate_deletion(from.s, to.s);
    EXPECT_EQ(from.s->alist, nullptr);
    EXPECT_EQ(from.s->clist, nullptr);
    EXPECT_EQ(chain_length(to.s), 3u);
    /* objects go behind the target's own */
    ASSERT_NE(to.s->clist, nullptr);
    EXPECT_EQ(to.s->clist->ptr, &a);
    ASSERT_NE(to.s->clist->next, nullptr);
    EXPECT_EQ(to.s->clist->next->ptr, &b);
    testing::internal::CaptureStderr();
    soap_end(from.s);
    soap_done(from.s);  /* no leak report: the records moved too */
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_STREQ(p1, "one");
    EXPECT_STREQ(p2, "two");
    soap_delete(to.s, nullptr);
    EXPECT_EQ(Deleted::log, (std::vector<void *>{&a, &b}));
    testing::internal::CaptureStderr();
    soap_end(to.s);
    soap_done(to.s);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(MemoryOwnership, DelegationIntoAnEmptyContextHandsTheListsOver)
{
    Ctx from, to;
    int b;
    soap_malloc(from.s, 3);
    soap_link(from.s, &b, 1, -1, nullptr);
    struct soap_clist *entry = from.s->clist;
    soap_delegate_deletion(from.s, to.s);
    EXPECT_EQ(to.s->clist, entry);
    EXPECT_EQ(chain_length(to.s), 1u);
}

TEST(MemoryOwnership, CorruptChainIsNotDelegated)
{
    Ctx from, to;
    char *p = static_cast<char *>(soap_malloc(from.s, 2));
    p[2] ^= 1;
    testing::internal::CaptureStderr();
    soap_delegate_deletion(from.s, to.s);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Data corruption in dynamic allocation (see logs)\n");
    EXPECT_EQ(from.s->error, SOAP_MOE);
    EXPECT_EQ(chain_length(from.s), 1u);
    EXPECT_EQ(to.s->alist, nullptr);
    p[2] ^= 1;
    from.s->error = SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Tracking reports                                                          */

#ifdef SOAP_MEM_DEBUG

TEST(MemoryTracking, DoubleFreeNamesBothCallSites)
{
    Ctx c;
    void *p = soap_track_malloc(c.s, "soapengine", 101, 16);
    ASSERT_NE(p, nullptr);
    soap_track_free(c.s, "soapengine", 202, p);
    testing::internal::CaptureStderr();
    soap_track_free(c.s, "soapengine", 303, p);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              fmt("soapengine(303): free(%p) double free of pointer malloced at soapengine(101)\n", p));
}

TEST(MemoryTracking, FreeOfUntrackedPointerIsReportedAndLeftAlone)
{
    Ctx c;
    char local[8] = "stack";
    testing::internal::CaptureStderr();
    soap_track_free(c.s, "soapengine", 42, local);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), fmt("soapengine(42): free(%p) pointer not malloced\n", (void *)local));
    EXPECT_STREQ(local, "stack");
}

TEST(MemoryTracking, LeakReportPrintsOneLinePerLiveRecord)
{
    struct soap *s = soap_new();
    void *a = soap_track_malloc(s, "soapengine", 11, 8);
    void *b = soap_track_malloc(s, "soapengine", 22, 8);
    void *gone = soap_track_malloc(s, "soapengine", 33, 8);
    soap_track_free(s, "soapengine", 34, gone);
    testing::internal::CaptureStderr();
    soap_done(s);
    std::string err = testing::internal::GetCapturedStderr();
    std::string la = fmt("soapengine(11): malloc() = %p not freed (memory leak or forgot to call soap_end()?)\n", a);
    std::string lb = fmt("soapengine(22): malloc() = %p not freed (memory leak or forgot to call soap_end()?)\n", b);
    EXPECT_EQ(err.size(), la.size() + lb.size());
    EXPECT_NE(err.find(la), std::string::npos);
    EXPECT_NE(err.find(lb), std::string::npos);
    for (size_t i = 0; i < SOAP_PTRHASH; i++)
        ASSERT_EQ(s->mht[i], nullptr);
    free(a);
    free(b);
    delete s;
}

TEST(MemoryTracking, BlocksForgottenBeforeDoneAreReported)
{
    struct soap *s = soap_new();
    void *p = soap_malloc(s, 3);
    testing::internal::CaptureStderr();
    soap_done(s);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find(fmt("malloc() = %p not freed", p)), std::string::npos) << err;
    free(p);
    delete s;
}

TEST(MemoryTracking, UnlinkMarksTheRecordDead)
{
    Ctx c;
    void *p = soap_track_malloc(c.s, "soapengine", 1, 8);
    soap_track_unlink(c.s, p);
    testing::internal::CaptureStderr();
    soap_done(c.s);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    free(p);
}

TEST(MemoryTracking, ReusedAddressIsLiveAgain)
{
    Ctx c;
    /* the allocator may hand the same address out again: its record revives */
    void *p = soap_track_malloc(c.s, "soapengine", 1, 24);
    soap_track_free(c.s, "soapengine", 2, p);
    void *q = soap_track_malloc(c.s, "soapengine", 3, 24);
    testing::internal::CaptureStderr();
    soap_track_free(c.s, "soapengine", 4, q);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

#endif

/* ------------------------------------------------------------------------ */
/* Memory kept between messages                                              */

TEST(MemoryCache, BlocksOfOneMessageServeTheNext)
{
    Ctx c;
    char *a = static_cast<char *>(soap_malloc(c.s, 100));
    char *b = static_cast<char *>(soap_malloc(c.s, 20));
    ASSERT_TRUE(a && b);
    soap_end(c.s);
    EXPECT_EQ(c.s->alist, nullptr);
    EXPECT_EQ(c.s->memcache.bytes, 128u + 64u);
    /* a request of another size in the same class takes the same block */
    EXPECT_EQ(soap_malloc(c.s, 90), a);
    EXPECT_EQ(soap_malloc(c.s, 30), b);
    EXPECT_EQ(c.s->memcache.bytes, 0u);
    EXPECT_EQ(chain_length(c.s), 2u);
}

TEST(MemoryCache, GuardOfAReusedBlockStandsBehindTheNewSize)
{
    Ctx c;
    soap_malloc(c.s, 100);
    soap_end(c.s);
    char *p = static_cast<char *>(soap_malloc(c.s, 10));  /* m = 12: no slack behind the bytes */
    char saved[2] = {p[10], p[11]};
    p[10] = 'x';
    p[11] = 'x';
    testing::internal::CaptureStderr();
    soap_end(c.s);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Data corruption in dynamic allocation (see logs)\n");
    EXPECT_EQ(c.s->error, SOAP_MOE);
    EXPECT_EQ(chain_length(c.s), 1u);  /* the corrupt block is left where it was */
    p[10] = saved[0];
    p[11] = saved[1];
    c.s->error = SOAP_OK;
    soap_end(c.s);
    EXPECT_EQ(c.s->alist, nullptr);
}

TEST(MemoryCache, LargeBlocksGoBackToTheSystem)
{
    Ctx c;
    ASSERT_TRUE(soap_malloc(c.s, 4096));  /* whole block above the largest class */
    ASSERT_TRUE(soap_malloc(c.s, 4000));  /* fits the largest class */
    soap_end(c.s);
    EXPECT_EQ(c.s->memcache.bytes, 4096u);
}

TEST(MemoryCache, KeptMemoryIsBoundedAndDoneReturnsIt)
{
    struct soap *s = soap_new();
    for (size_t i = 0; i < 2 * SOAP_MEMCACHE_BYTES / 2048; i++)
        ASSERT_TRUE(soap_malloc(s, 2000));
    soap_end(s);
    EXPECT_LE(s->memcache.bytes, (size_t)SOAP_MEMCACHE_BYTES);
    EXPECT_GT(s->memcache.bytes, (size_t)SOAP_MEMCACHE_BYTES - 2048);
    testing::internal::CaptureStderr();
    soap_done(s);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(s->memcache.bytes, 0u);
    for (void *bin : s->memcache.bins)
        EXPECT_EQ(bin, nullptr);
    delete s;
}

TEST(MemoryCache, UnlinkedBlockNeverReachesTheCache)
{
    Ctx c;
    void *p = soap_malloc(c.s, 100);
    ASSERT_EQ(soap_unlink(c.s, p), 0);
    soap_end(c.s);
    EXPECT_EQ(c.s->memcache.bytes, 0u);
    free(p);  /* the caller's now: plain memory */
}

int forget(struct soap_clist *) { return 0; }

TEST(MemoryCache, ObjectEntriesAreReusedAndTheirObjectsLeftAlone)
{
    Ctx c;
    int x = 0, y = 0;
    struct soap_clist *first = soap_link(c.s, &x, 1, -1, forget);
    ASSERT_NE(first, nullptr);
    soap_delete(c.s, nullptr);
    EXPECT_EQ(c.s->memcache.clist, first);
    EXPECT_EQ(soap_link(c.s, &y, 2, -1, forget), first);
    EXPECT_EQ(first->ptr, &y);
    EXPECT_EQ(c.s->memcache.clist, nullptr);
    /* soap_end drops the entries without deleting: they are kept too */
    soap_end(c.s);
    EXPECT_EQ(c.s->memcache.clist, first);
}

TEST(MemoryCache, CopyOfAContextStartsWithoutKeptMemory)
{
    Ctx c;
    soap_malloc(c.s, 100);
    soap_end(c.s);
    struct soap *d = soap_copy(c.s);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->memcache.bytes, 0u);
    EXPECT_EQ(d->memcache.bins[2], nullptr);
    soap_free(d);
}

#ifdef SOAP_MEM_DEBUG
TEST(MemoryCache, KeptBlocksAreNotLiveBetweenMessages)
{
    struct soap *s = soap_new();
    auto live = [s] {
        size_t n = 0;
        for (size_t h = 0; h < SOAP_PTRHASH; h++)
            for (const struct soap_track *t = s->mht[h]; t; t = t->next)
                n += t->live;
        return n;
    };
    const size_t context_own = live();
    void *p = soap_malloc(s, 100);
    EXPECT_EQ(live(), context_own + 1);
    soap_end(s);
    EXPECT_EQ(live(), context_own);
    /* taken again it is the message's, and can be handed over like any block */
    EXPECT_EQ(soap_malloc(s, 100), p);
    ASSERT_EQ(soap_unlink(s, p), 0);
    testing::internal::CaptureStderr();
    soap_done(s);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    free(p);
    delete s;
}
#endif

/* ------------------------------------------------------------------------ */
/* Block lists                                                               */

TEST(MemoryBlockLists, PushedBlocksSaveAsOneCopyInPushOrder)
{
    Ctx c;
    struct soap_blist *b = soap_new_block(c.s);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(c.s->blist, b);
    memcpy(soap_push_block(c.s, b, 3), "abc", 3);
    memcpy(soap_push_block(c.s, nullptr, 2), "de", 2);  /* null: the top list */
    memcpy(soap_push_block(c.s, b, 4), "fgh", 4);
    EXPECT_EQ(b->size, 9u);
    EXPECT_EQ(soap_block_size(c.s, b), 4u);
    char *all = soap_save_block(c.s, b, nullptr, 0);
    ASSERT_NE(all, nullptr);
    EXPECT_EQ(std::string(all, 9), std::string("abcdefgh\0", 9));
    EXPECT_EQ(c.s->blist, nullptr);
}

TEST(MemoryBlockLists, SaveIntoCallersTarget)
{
    Ctx c;
    struct soap_blist *b = soap_new_block(c.s);
    memcpy(soap_push_block(c.s, b, 2), "xy", 2);
    char target[4] = "---";
    EXPECT_EQ(soap_save_block(c.s, b, target, 0), target);
    EXPECT_STREQ(target, "xy-");
}

TEST(MemoryBlockLists, EmptyListSavesNothing)
{
    Ctx c;
    struct soap_blist *b = soap_new_block(c.s);
    EXPECT_EQ(soap_save_block(c.s, b, nullptr, 0), nullptr);
    EXPECT_EQ(c.s->blist, nullptr);
    EXPECT_EQ(c.s->alist, nullptr);
    EXPECT_EQ(c.s->error, SOAP_OK);
}

TEST(MemoryBlockLists, PopDropsTheNewest)
{
    Ctx c;
    struct soap_blist *b = soap_new_block(c.s);
    memcpy(soap_push_block(c.s, b, 2), "ab", 2);
    soap_push_block(c.s, b, 5);
    soap_pop_block(c.s, b);
    EXPECT_EQ(b->size, 2u);
    char out[3] = {0};
    soap_save_block(c.s, b, out, 0);
    EXPECT_STREQ(out, "ab");
}

TEST(MemoryBlockLists, SizeBlockShrinksTheNewestAccountedSize)
{
    Ctx c;
    struct soap_blist *b = soap_new_block(c.s);
    memcpy(soap_push_block(c.s, b, 3), "abc", 3);
    memcpy(soap_push_block(c.s, b, 8), "defghijk", 8);
    EXPECT_EQ(soap_size_block(c.s, b, 2), 5u);
    EXPECT_EQ(soap_block_size(c.s, b), 2u);
    char *all = soap_save_block(c.s, b, nullptr, 0);
    EXPECT_EQ(std::string(all, 5), "abcde");
}

TEST(MemoryBlockLists, WalkFirstToNextVisitsOldestFirst)
{
    Ctx c;
    struct soap_blist *b = soap_new_block(c.s);
    memcpy(soap_push_block(c.s, b, 1), "1", 1);
    memcpy(soap_push_block(c.s, b, 1), "2", 1);
    memcpy(soap_push_block(c.s, b, 1), "3", 1);
    std::string seen;
    for (char *p = soap_first_block(c.s, b); p; p = soap_next_block(c.s, b))
        seen += *p;
    EXPECT_EQ(seen, "123");
    EXPECT_EQ(b->ptr, nullptr);
    EXPECT_EQ(soap_first_block(c.s, b), nullptr);
    soap_end_block(c.s, b);
}

TEST(MemoryBlockLists, ListsStackAndEndInAnyOrder)
{
    Ctx c;
    struct soap_blist *outer = soap_new_block(c.s);
    struct soap_blist *inner = soap_new_block(c.s);
    EXPECT_EQ(c.s->blist, inner);
    EXPECT_EQ(inner->next, outer);
    soap_push_block(c.s, outer, 4);
    soap_end_block(c.s, outer);  /* not the top */
    EXPECT_EQ(c.s->blist, inner);
    EXPECT_EQ(inner->next, nullptr);
    soap_push_block(c.s, nullptr, 4);
    EXPECT_EQ(inner->size, 4u);
    /* the rest goes with the message's temporaries */
    soap_free_temp(c.s);
    EXPECT_EQ(c.s->blist, nullptr);
}

TEST(MemoryBlockLists, FailedTargetAllocationFreesTheList)
{
    Ctx c;
    Arena arena;
    arena.fail_after = 0;
    struct soap_blist *b = soap_new_block(c.s);
    soap_push_block(c.s, b, 16);
    c.s->user = &arena;
    c.s->fmalloc = Arena::alloc;
    EXPECT_EQ(soap_save_block(c.s, b, nullptr, 0), nullptr);
    EXPECT_EQ(c.s->error, SOAP_EOM);
    EXPECT_EQ(c.s->blist, nullptr);
}

/* ------------------------------------------------------------------------ */
/* Temporaries of a message                                                  */

TEST(MemoryTemporaries, FreeTempEndsWhatOneMessageHeld)
{
    Ctx c;
    struct soap *s = c.s;
    s->labbuf = static_cast<char *>(soap_track_malloc(s, "soapengine", __LINE__, SOAP_LABLEN));
    s->lablen = SOAP_LABLEN;
    s->labidx = 3;
    auto *at = static_cast<struct soap_attribute *>(
        soap_track_malloc(s, "soapengine", __LINE__, sizeof(struct soap_attribute) + 4));
    memset(at, 0, sizeof *at);
    strcpy(at->name, "attr");
    at->value = static_cast<char *>(soap_track_malloc(s, "soapengine", __LINE__, 8));
    at->size = 8;
    s->attributes = at;
    auto *x = static_cast<struct soap_xlist *>(soap_track_malloc(s, "soapengine", __LINE__, sizeof(struct soap_xlist)));
    memset(x, 0, sizeof *x);
    s->xlist = x;
    /* a working namespace table whose learned URI the encoding style uses */
    auto *table = static_cast<struct Namespace *>(soap_track_malloc(s, "soapengine", __LINE__, 3 * sizeof(struct Namespace)));
    table[0] = {"SOAP-ENV", "urn:env", nullptr, nullptr};
    table[1] = {"SOAP-ENC", "urn:enc", nullptr, nullptr};
    table[2] = {nullptr, nullptr, nullptr, nullptr};
    table[1].out = static_cast<char *>(soap_track_malloc(s, "soapengine", __LINE__, 8));
    strcpy(table[1].out, "urn:x");
    s->local_namespaces = table;
    s->encodingStyle = table[1].out;
    soap_new_block(s);
    soap_free_temp(s);
    EXPECT_EQ(s->labbuf, nullptr);
    EXPECT_EQ(s->lablen, 0u);
    EXPECT_EQ(s->labidx, 0u);
    EXPECT_EQ(s->attributes, nullptr);
    EXPECT_EQ(s->xlist, nullptr);
    EXPECT_EQ(s->local_namespaces, nullptr);
    EXPECT_STREQ(s->encodingStyle, "");
    EXPECT_EQ(s->blist, nullptr);
    EXPECT_EQ(s->nlist, nullptr);
}

TEST(MemoryTemporaries, EncodingStyleFromATableRowBecomesEmpty)
{
    Ctx c;
    struct soap *s = c.s;
    auto *table = static_cast<struct Namespace *>(soap_track_malloc(s, "soapengine", __LINE__, 2 * sizeof(struct Namespace)));
    static const char uri[] = "urn:enc";
    table[0] = {"SOAP-ENC", uri, nullptr, nullptr};
    table[1] = {nullptr, nullptr, nullptr, nullptr};
    s->local_namespaces = table;
    s->encodingStyle = uri;
    soap_free_temp(s);
    EXPECT_STREQ(s->encodingStyle, "");
    s->encodingStyle = nullptr;  /* literal stays literal */
    soap_free_temp(s);
    EXPECT_EQ(s->encodingStyle, nullptr);
}

}  // namespace
