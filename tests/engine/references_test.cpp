/* references_test.cpp -- id/href resolution on input (forward references,
 * copies and fix-ups, conflicts), multi-reference marking on output, the
 * attachment references, relocation of waiting places, and the array size
 * attribute parsers.
 */
#include <gtest/gtest.h>

#include <cstdint>
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

enum { T_INT = 11, T_STR = 12, T_PAIR = 13, T_VEC = 14, T_PTR = 15 };

struct Pair {
    long x;
    long y;
};

/* ------------------------------------------------------------------------ */

TEST(RefsHash, MultipliesBy65599ModuloTheBucketCount)
{
    EXPECT_EQ(soap_hash(""), 0u);
    EXPECT_EQ(soap_hash("a"), 97u);
    EXPECT_EQ(soap_hash("id"), 1440u);
    EXPECT_EQ(soap_hash("#_1"), 395u);
    EXPECT_EQ(soap_hash("#_12"), 1552u);
    EXPECT_EQ(soap_hash("#verylongidentifier_0123456789"), 672u);  /* wraps in 32 bits */
    EXPECT_EQ(soap_hash("\xff\xfe"), (255u * 65599u + 254u) % 1999u);  /* bytes are unsigned */
}

/* ------------------------------------------------------------------------ */
/* Pointer table                                                             */

TEST(RefsPointers, EnteredPointerIsFoundByAddressAndType)
{
    Ctx c;
    int a, b;
    struct soap_plist *pp, *found;
    c.s->idnumber = 4;
    EXPECT_EQ(soap_pointer_enter(c.s, &a, nullptr, 0, T_INT, &pp), 5);
    ASSERT_NE(pp, nullptr);
    EXPECT_EQ(pp->ptr, &a);
    EXPECT_EQ(pp->mark1, 0);
    EXPECT_EQ(pp->mark2, 0);
    EXPECT_EQ(soap_pointer_enter(c.s, &b, nullptr, 0, T_INT, &pp), 6);
    EXPECT_EQ(soap_pointer_lookup(c.s, &a, T_INT, &found), 5);
    EXPECT_EQ(found->ptr, &a);
    /* an object and its first member of another type are different records */
    EXPECT_EQ(soap_pointer_lookup(c.s, &a, T_STR, &found), 0);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(soap_pointer_lookup(c.s, nullptr, T_INT, &found), 0);
}

TEST(RefsPointers, RecordsComeFromBlocksOf32)
{
    Ctx c;
    std::vector<int> objs(SOAP_PTRBLK + 1);
    struct soap_plist *pp;
    for (auto &o : objs)
        ASSERT_NE(soap_pointer_enter(c.s, &o, nullptr, 0, T_INT, &pp), 0);
    ASSERT_NE(c.s->pblk, nullptr);
    ASSERT_NE(c.s->pblk->next, nullptr);
    EXPECT_EQ(c.s->pblk->next->next, nullptr);
    EXPECT_EQ(c.s->pidx, 1);
    for (size_t i = 0; i < objs.size(); i++)
        EXPECT_EQ(soap_pointer_lookup(c.s, &objs[i], T_INT, &pp), (int)i + 1);
    soap_free_pht(c.s);
    EXPECT_EQ(c.s->pblk, nullptr);
    EXPECT_EQ(c.s->pidx, 0);
    EXPECT_EQ(soap_pointer_lookup(c.s, &objs[0], T_INT, &pp), 0);
}

struct Array2 {
    int *__ptr;
    int __size[2];
};

TEST(RefsPointers, ArraysMatchByDataAndEverySize)
{
    Ctx c;
    int data[6];
    Array2 a{data, {2, 3}};
    Array2 same{data, {2, 3}};
    Array2 other{data, {3, 2}};
    struct soap_plist *pp;
    auto *ra = reinterpret_cast<const struct soap_array *>(&a);
    int id = soap_pointer_enter(c.s, &a, ra, 2, T_VEC, &pp);
    EXPECT_EQ(soap_array_pointer_lookup(c.s, &same, reinterpret_cast<const struct soap_array *>(&same), 2, T_VEC, &pp), id);
    EXPECT_EQ(soap_array_pointer_lookup(c.s, &other, reinterpret_cast<const struct soap_array *>(&other), 2, T_VEC, &pp), 0);
    EXPECT_EQ(soap_array_pointer_lookup(c.s, &a, ra, 2, T_INT, &pp), 0);
}

TEST(RefsPointers, SecondVisitMakesAnObjectMultiReference)
{
    Ctx c;
    int a;
    EXPECT_EQ(soap_reference(c.s, &a, T_INT), 0);  /* new: walk into it */
    EXPECT_EQ(soap_reference(c.s, &a, T_INT), 2);
    EXPECT_EQ(soap_reference(c.s, &a, T_INT), 2);
    struct soap_plist *pp;
    soap_pointer_lookup(c.s, &a, T_INT, &pp);
    EXPECT_EQ(pp->mark1, 2);
    EXPECT_EQ(pp->mark2, 2);
    EXPECT_EQ(soap_reference(c.s, nullptr, T_INT), 1);
}

TEST(RefsPointers, TreeModeNeverShares)
{
    Ctx c;
    int a;
    c.s->mode = SOAP_XML_TREE;
    EXPECT_EQ(soap_reference(c.s, &a, T_INT), 1);
    EXPECT_EQ(c.s->pblk, nullptr);
    EXPECT_EQ(soap_embedded_id(c.s, 7, &a, T_INT), 7);
}

TEST(RefsPointers, ArrayReferenceWithoutDataIsNotWalked)
{
    Ctx c;
    Array2 empty{nullptr, {0, 0}};
    auto *ra = reinterpret_cast<const struct soap_array *>(&empty);
    EXPECT_EQ(soap_array_reference(c.s, &empty, ra, 1, T_VEC), 1);
    int data[2];
    Array2 a{data, {2, 0}};
    ra = reinterpret_cast<const struct soap_array *>(&a);
    EXPECT_EQ(soap_array_reference(c.s, &a, ra, 1, T_VEC), 0);
    EXPECT_EQ(soap_array_reference(c.s, &a, ra, 1, T_VEC), 2);
}

/* Literal output (and SOAP 1.2): first place carries the id, later ones refer. */
TEST(RefsPointers, LiteralOutputWritesTheObjectOnceThenRefers)
{
    Ctx c;
    int a;
    c.s->encodingStyle = nullptr;
    soap_reference(c.s, &a, T_INT);
    soap_reference(c.s, &a, T_INT);
    struct soap_plist *pp;
    int id = soap_pointer_lookup(c.s, &a, T_INT, &pp);
    /* count pass and writing pass each see the same sequence */
    for (uint32_t pass : {(uint32_t)SOAP_IO_LENGTH, 0u}) {
        c.s->mode = pass;
        EXPECT_EQ(soap_embed(c.s, &a, nullptr, 0, "x", T_INT), id) << pass;
        EXPECT_EQ(soap_embed(c.s, &a, nullptr, 0, "x", T_INT), 0) << pass;
        EXPECT_TRUE(soap_is_embedded(c.s, pp));
    }
}

TEST(RefsPointers, SingleObjectGetsNoId)
{
    Ctx c;
    int a;
    soap_reference(c.s, &a, T_INT);
    struct soap_plist *pp;
    soap_pointer_lookup(c.s, &a, T_INT, &pp);
    EXPECT_TRUE(soap_is_single(c.s, pp));
    EXPECT_EQ(soap_embed(c.s, &a, nullptr, 0, "x", T_INT), 0);
    EXPECT_FALSE(soap_is_single(c.s, nullptr));
    EXPECT_FALSE(soap_is_embedded(c.s, nullptr));
}

TEST(RefsPointers, HeaderPartsDoNotShare)
{
    Ctx c;
    int a;
    soap_reference(c.s, &a, T_INT);
    soap_reference(c.s, &a, T_INT);
    struct soap_plist *pp;
    soap_pointer_lookup(c.s, &a, T_INT, &pp);
    c.s->part = SOAP_IN_HEADER;
    EXPECT_TRUE(soap_is_single(c.s, pp));
    EXPECT_TRUE(soap_is_single(c.s, nullptr));
    EXPECT_EQ(soap_embed(c.s, &a, nullptr, 0, "x", T_INT), 0);
}

TEST(RefsPointers, Soap11EncodedSharedObjectsGoToTheTop)
{
    Ctx c;
    int a;
    c.s->version = 1;
    c.s->encodingStyle = "";
    soap_reference(c.s, &a, T_INT);
    soap_reference(c.s, &a, T_INT);
    struct soap_plist *pp;
    int id = soap_pointer_lookup(c.s, &a, T_INT, &pp);
    /* in place: a reference (-1), marking the object for the top level */
    pp->mark2 = 0;
    EXPECT_EQ(soap_embedded_id(c.s, -1, &a, T_INT), -1);
    EXPECT_EQ(pp->mark2, 2);
    EXPECT_TRUE(soap_is_embedded(c.s, pp));  /* any mark but 0 */
    EXPECT_EQ(soap_embedded_id(c.s, id, &a, T_INT), id);  /* the top-level copy keeps its id */
    int b;
    EXPECT_EQ(soap_embedded_id(c.s, -1, &b, T_INT), -1);
    /* SOAP_XML_GRAPH turns the top-level rule off */
    c.s->mode = SOAP_XML_GRAPH;
    EXPECT_EQ(soap_embedded_id(c.s, -1, &a, T_INT), id);
    EXPECT_EQ(pp->mark2, 1);
}

TEST(RefsPointers, EmbeddedIdOutsideEncodedMode)
{
    Ctx c;
    int a, b;
    struct soap_plist *pp;
    int id = soap_pointer_enter(c.s, &a, nullptr, 0, T_INT, &pp);
    EXPECT_EQ(soap_embedded_id(c.s, -1, &a, T_INT), id);
    EXPECT_EQ(pp->mark2, 1);
    c.s->mode = SOAP_IO_LENGTH;
    EXPECT_EQ(soap_embedded_id(c.s, -1, &a, T_INT), id);
    EXPECT_EQ(pp->mark1, 1);
    EXPECT_EQ(soap_embedded_id(c.s, 9, &b, T_INT), 0);  /* an id but no record */
    EXPECT_EQ(soap_embedded_id(c.s, 0, &b, T_INT), 0);
}

TEST(RefsPointers, EmbeddedSetsBothMarks)
{
    Ctx c;
    int a;
    struct soap_plist *pp;
    int id = soap_pointer_enter(c.s, &a, nullptr, 0, T_INT, &pp);
    EXPECT_EQ(soap_embedded(c.s, &a, T_INT), id);
    EXPECT_EQ(pp->mark1, 1);
    EXPECT_EQ(pp->mark2, 1);
    int b;
    EXPECT_EQ(soap_embedded(c.s, &b, T_INT), 0);
}

TEST(RefsPointers, Soap12EmbedAsksForTheEncodingAttribute)
{
    Ctx c;
    int a;
    c.s->version = 2;
    soap_embed(c.s, &a, nullptr, 0, "x", T_INT);
    EXPECT_EQ(c.s->encoding, 1);
}

/* ------------------------------------------------------------------------ */
/* Id table                                                                  */

TEST(RefsIds, ForwardHrefIsFilledByResolve)
{
    Ctx c;
    int *cell = reinterpret_cast<int *>(0x1);
    void **r = soap_id_lookup(c.s, "#_1", reinterpret_cast<void **>(&cell), T_INT, sizeof(int), 0);
    EXPECT_EQ(r, reinterpret_cast<void **>(&cell));
    EXPECT_EQ(cell, nullptr);  /* waiting */
    int *obj = static_cast<int *>(soap_id_enter(c.s, "#_1", nullptr, T_INT, sizeof(int), 0, nullptr, nullptr, nullptr));
    ASSERT_NE(obj, nullptr);
    EXPECT_EQ(c.s->alloced, 1);
    *obj = 5;
    EXPECT_EQ(soap_resolve(c.s), SOAP_OK);
    EXPECT_EQ(cell, obj);
}

TEST(RefsIds, SeveralWaitersAllGetTheObject)
{
    Ctx c;
    int *cells[3] = {};
    for (auto &cell : cells)
        soap_id_lookup(c.s, "#m", reinterpret_cast<void **>(&cell), T_INT, sizeof(int), 0);
    int obj = 0;
    soap_id_enter(c.s, "#m", &obj, T_INT, sizeof(int), 0, nullptr, nullptr, nullptr);
    EXPECT_EQ(c.s->alloced, 0);  /* the caller's own memory */
    soap_resolve(c.s);
    for (auto &cell : cells)
        EXPECT_EQ(cell, &obj);
}

TEST(RefsIds, BackwardHrefIsFilledAtOnce)
{
    Ctx c;
    int obj = 3;
    soap_id_enter(c.s, "#b", &obj, T_INT, sizeof(int), 0, nullptr, nullptr, nullptr);
    int *cell = nullptr;
    soap_id_lookup(c.s, "#b", reinterpret_cast<void **>(&cell), T_INT, sizeof(int), 0);
    EXPECT_EQ(cell, &obj);
    /* one more level: the cell gets a pointer to a pointer */
    int **cell2 = nullptr;
    soap_id_lookup(c.s, "#b", reinterpret_cast<void **>(&cell2), T_INT, sizeof(int), 1);
    ASSERT_NE(cell2, nullptr);
    EXPECT_EQ(*cell2, &obj);
}

TEST(RefsIds, WaitersOfDifferentLevelsAreReconciled)
{
    Ctx c;
    int **deep = nullptr;
    int *flat = nullptr;
    soap_id_lookup(c.s, "#l", reinterpret_cast<void **>(&deep), T_INT, sizeof(int), 1);
    soap_id_lookup(c.s, "#l", reinterpret_cast<void **>(&flat), T_INT, sizeof(int), 0);
    int obj = 1;
    soap_id_enter(c.s, "#l", &obj, T_INT, sizeof(int), 0, nullptr, nullptr, nullptr);
    ASSERT_EQ(soap_resolve(c.s), SOAP_OK);
    EXPECT_EQ(flat, &obj);
    ASSERT_NE(deep, nullptr);
    EXPECT_EQ(*deep, &obj);

    int *flat2 = nullptr;
    int **deep2 = nullptr;
    soap_id_lookup(c.s, "#k", reinterpret_cast<void **>(&flat2), T_INT, sizeof(int), 0);
    soap_id_lookup(c.s, "#k", reinterpret_cast<void **>(&deep2), T_INT, sizeof(int), 1);
    int obj2 = 2;
    soap_id_enter(c.s, "#k", &obj2, T_INT, sizeof(int), 0, nullptr, nullptr, nullptr);
    ASSERT_EQ(soap_resolve(c.s), SOAP_OK);
    EXPECT_EQ(flat2, &obj2);
    ASSERT_NE(deep2, nullptr);
    EXPECT_EQ(*deep2, &obj2);
}

TEST(RefsIds, HrefToNothingFailsOnlyAtTheEnd)
{
    Ctx c;
    int *cell = nullptr;
    EXPECT_NE(soap_id_lookup(c.s, "#_9", reinterpret_cast<void **>(&cell), T_INT, sizeof(int), 0), nullptr);
    EXPECT_EQ(c.s->error, SOAP_OK);
    EXPECT_EQ(soap_resolve(c.s), SOAP_MISSING_ID);
    EXPECT_EQ(c.s->error, SOAP_MISSING_ID);
    EXPECT_STREQ(c.s->id, "#_9");
    c.s->error = SOAP_OK;
}

TEST(RefsIds, UnresolvedAttachmentReferenceIsNotAMissingId)
{
    Ctx c;
    int *cell = nullptr;
    soap_id_lookup(c.s, "cid:part1", reinterpret_cast<void **>(&cell), T_INT, sizeof(int), 0);
    EXPECT_EQ(soap_resolve(c.s), SOAP_OK);
}

TEST(RefsIds, SameIdTwiceIsADuplicate)
{
    Ctx c;
    int a, b;
    EXPECT_EQ(soap_id_enter(c.s, "#d", &a, T_INT, sizeof(int), 0, nullptr, nullptr, nullptr), &a);
    EXPECT_EQ(soap_id_enter(c.s, "#d", &b, T_INT, sizeof(int), 0, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(c.s->error, SOAP_DUPLICATE_ID);
    EXPECT_STREQ(c.s->id, "#d");
    c.s->error = SOAP_OK;
}

TEST(RefsIds, DefinitionOfAnotherTypeThanTheWaitingCopyConflicts)
{
    Ctx c;
    Pair target{};
    ASSERT_NE(soap_id_forward(c.s, "#t", &target, 0, T_PAIR, T_PAIR, sizeof(Pair), 0, nullptr), nullptr);
    char text[16] = "x";
    EXPECT_EQ(soap_id_enter(c.s, "#t", text, T_STR, sizeof text, 0, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(c.s->error, SOAP_HREF);
    EXPECT_STREQ(c.s->id, "#t");
    c.s->error = SOAP_OK;
}

TEST(RefsIds, DefinitionOfAnotherSizeAtTheSameLevelConflicts)
{
    Ctx c;
    Pair target{};
    soap_id_forward(c.s, "#z", &target, 0, T_PAIR, T_PAIR, sizeof(Pair), 0, nullptr);
    long big[4];
    EXPECT_EQ(soap_id_enter(c.s, "#z", big, T_PAIR, sizeof big, 0, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(c.s->error, SOAP_HREF);
    c.s->error = SOAP_OK;
}

TEST(RefsIds, ReferenceOfAnotherTypeConflicts)
{
    Ctx c;
    int a;
    soap_id_enter(c.s, "#r", &a, T_INT, sizeof(int), 0, nullptr, nullptr, nullptr);
    char *cell = nullptr;
    EXPECT_EQ(soap_id_lookup(c.s, "#r", reinterpret_cast<void **>(&cell), T_STR, 1, 0), nullptr);
    EXPECT_EQ(c.s->error, SOAP_HREF);
    EXPECT_STREQ(c.s->id, "#r");
    c.s->error = SOAP_OK;
    Pair p;
    EXPECT_EQ(soap_id_forward(c.s, "#r", &p, 0, T_PAIR, T_PAIR, sizeof p, 0, nullptr), nullptr);
    EXPECT_EQ(c.s->error, SOAP_HREF);
    c.s->error = SOAP_OK;
}

TEST(RefsIds, ShortObjectsReachedByReferenceAreCopiedWhole)
{
    /* too short to hold a chain link: each goes through a fix-up */
    for (size_t n = 1; n <= 4; n++) {
        Ctx c;
        char target[4];
        memset(target, '-', sizeof target);
        ASSERT_NE(soap_id_forward(c.s, "#s", target, 0, T_STR, T_STR, n, 0, nullptr), nullptr);
        char *obj = static_cast<char *>(soap_id_enter(c.s, "#s", nullptr, T_STR, n, 0, nullptr, nullptr, nullptr));
        ASSERT_NE(obj, nullptr);
        memcpy(obj, "wxyz", n);
        ASSERT_EQ(soap_resolve(c.s), SOAP_OK);
        EXPECT_EQ(std::string(target, n), std::string("wxyz", n)) << n;
        if (n < 4) {
            EXPECT_EQ(target[n], '-') << n;  /* not a byte more */
        }
    }
}

TEST(RefsIds, LargerObjectsAreCopiedThroughTheirTargets)
{
    Ctx c;
    Pair t1{-1, -1}, t2{-1, -1};
    soap_id_forward(c.s, "#p", &t1, 0, T_PAIR, T_PAIR, sizeof(Pair), 0, nullptr);
    soap_id_forward(c.s, "#p", &t2, 0, T_PAIR, T_PAIR, sizeof(Pair), 0, nullptr);
    struct soap_ilist *ip = soap_lookup(c.s, "#p");
    ASSERT_NE(ip, nullptr);
    EXPECT_EQ(ip->copy, &t2);  /* the chain runs through the targets */
    EXPECT_EQ(ip->flist, nullptr);
    Pair *obj = static_cast<Pair *>(soap_id_enter(c.s, "#p", nullptr, T_PAIR, sizeof(Pair), 0, nullptr, nullptr, nullptr));
    *obj = {7, 8};
    ASSERT_EQ(soap_resolve(c.s), SOAP_OK);
    EXPECT_EQ(t1.x, 7);
    EXPECT_EQ(t1.y, 8);
    EXPECT_EQ(t2.x, 7);
    EXPECT_EQ(t2.y, 8);
    EXPECT_EQ(ip->copy, nullptr);
}

TEST(RefsIds, ObjectIsCopiedOnlyAfterItsOwnPartsAreFilled)
{
    Ctx c;
    Pair outer{};
    /* outer wants a copy of A; A's second member wants a copy of B */
    soap_id_forward(c.s, "#A", &outer, 0, T_PAIR, T_PAIR, sizeof(Pair), 0, nullptr);
    Pair *a = static_cast<Pair *>(soap_id_enter(c.s, "#A", nullptr, T_PAIR, sizeof(Pair), 0, nullptr, nullptr, nullptr));
    ASSERT_NE(a, nullptr);
    a->x = 1;
    soap_id_forward(c.s, "#B", &a->y, 0, T_INT, T_INT, sizeof(long), 0, nullptr);
    long *b = static_cast<long *>(soap_id_enter(c.s, "#B", nullptr, T_INT, sizeof(long), 0, nullptr, nullptr, nullptr));
    *b = 42;
    EXPECT_EQ(soap_has_copies(c.s, reinterpret_cast<char *>(a), reinterpret_cast<char *>(a + 1)), -1);
    ASSERT_EQ(soap_resolve(c.s), SOAP_OK);
    EXPECT_EQ(a->y, 42);
    EXPECT_EQ(outer.x, 1);
    EXPECT_EQ(outer.y, 42);
    EXPECT_EQ(soap_has_copies(c.s, reinterpret_cast<char *>(a), reinterpret_cast<char *>(a + 1)), 0);
}

struct CopyCall {
    int st, tt;
    void *p;
    size_t len;
    const void *q;
    size_t n;
};
std::vector<CopyCall> copy_calls;

void record_copy(struct soap *, int st, int tt, void *p, size_t len, const void *q, size_t n)
{
    copy_calls.push_back({st, tt, p, len, q, n});
}

TEST(RefsIds, FixUpCallsTheGivenCopyFunction)
{
    Ctx c;
    copy_calls.clear();
    std::vector<int> container;
    soap_id_forward(c.s, "#f", &container, 3, T_INT, T_VEC, sizeof(int), 0, record_copy);
    int obj = 9;
    soap_id_enter(c.s, "#f", &obj, T_INT, sizeof(int), 0, nullptr, nullptr, nullptr);
    ASSERT_EQ(soap_resolve(c.s), SOAP_OK);
    ASSERT_EQ(copy_calls.size(), 1u);
    EXPECT_EQ(copy_calls[0].st, T_INT);
    EXPECT_EQ(copy_calls[0].tt, T_VEC);
    EXPECT_EQ(copy_calls[0].p, &container);
    EXPECT_EQ(copy_calls[0].len, 3u);
    EXPECT_EQ(copy_calls[0].q, &obj);
    EXPECT_EQ(copy_calls[0].n, sizeof(int));
    EXPECT_EQ(soap_lookup(c.s, "#f")->flist, nullptr);
}

TEST(RefsIds, FixUpAtAHigherLevelReceivesAPointer)
{
    Ctx c;
    int *slot = nullptr;
    int **slot2 = nullptr;
    soap_id_forward(c.s, "#q", &slot, 0, T_INT, T_PTR, sizeof(int), 1, nullptr);
    soap_id_forward(c.s, "#q", &slot2, 0, T_INT, T_PTR, sizeof(int), 2, nullptr);
    int obj = 4;
    soap_id_enter(c.s, "#q", &obj, T_INT, sizeof(int), 0, nullptr, nullptr, nullptr);
    ASSERT_EQ(soap_resolve(c.s), SOAP_OK);
    EXPECT_EQ(slot, &obj);
    ASSERT_NE(slot2, nullptr);
    EXPECT_EQ(*slot2, &obj);
}

TEST(RefsIds, EmptyOrMissingIdTextPassesThePointerThrough)
{
    Ctx c;
    int a;
    EXPECT_EQ(soap_id_enter(c.s, "", &a, T_INT, sizeof a, 0, nullptr, nullptr, nullptr), &a);
    EXPECT_EQ(soap_id_enter(c.s, nullptr, &a, T_INT, sizeof a, 0, nullptr, nullptr, nullptr), &a);
    void *cell = &a;
    EXPECT_EQ(soap_id_lookup(c.s, "", &cell, T_INT, sizeof a, 0), &cell);
    EXPECT_EQ(cell, &a);
    EXPECT_EQ(soap_id_lookup(c.s, "#x", nullptr, T_INT, sizeof a, 0), nullptr);
    EXPECT_EQ(soap_id_forward(c.s, "", &a, 0, T_INT, T_INT, sizeof a, 0, nullptr), &a);
    EXPECT_EQ(soap_id_forward(c.s, "#x", nullptr, 0, T_INT, T_INT, sizeof a, 0, nullptr), nullptr);
    EXPECT_EQ(soap_lookup(c.s, "#x"), nullptr);
}

void *instantiate_pair(struct soap *soap, int t, const char *type, const char *arrayType, size_t *n)
{
    EXPECT_EQ(t, T_PAIR);
    EXPECT_STREQ(type, "ns:Pair");
    EXPECT_EQ(arrayType, nullptr);
    *n = sizeof(Pair);
    return soap_malloc(soap, sizeof(Pair));
}

void *instantiate_nothing(struct soap *soap, int, const char *, const char *, size_t *)
{
    soap->error = SOAP_TYPE;
    return nullptr;
}

TEST(RefsIds, ObjectsAreMadeByTheInstantiateFunction)
{
    Ctx c;
    void *p = soap_id_enter(c.s, "#i", nullptr, T_PAIR, 0, 0, "ns:Pair", nullptr, instantiate_pair);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(c.s->alloced, 1);
    struct soap_ilist *ip = soap_lookup(c.s, "#i");
    ASSERT_NE(ip, nullptr);
    EXPECT_EQ(ip->ptr, p);
    EXPECT_EQ(ip->size, sizeof(Pair));
    EXPECT_EQ(soap_lookup_type(c.s, "#i"), T_PAIR);
    EXPECT_EQ(soap_lookup_type(c.s, "#none"), 0);
    EXPECT_EQ(soap_lookup_type(c.s, ""), 0);
    EXPECT_EQ(soap_lookup_type(c.s, nullptr), 0);
    EXPECT_EQ(soap_id_enter(c.s, "#j", nullptr, T_PAIR, 0, 0, "ns:Pair", nullptr, instantiate_nothing), nullptr);
    EXPECT_EQ(c.s->error, SOAP_TYPE);
    EXPECT_EQ(c.s->alloced, 0);
    EXPECT_EQ(soap_lookup(c.s, "#j"), nullptr);
    c.s->error = SOAP_OK;
}

TEST(RefsIds, TablesAreEmptyAfterTheMessage)
{
    Ctx c;
    int a;
    soap_id_enter(c.s, "#e", &a, T_INT, sizeof a, 0, nullptr, nullptr, nullptr);
    int x;
    soap_id_forward(c.s, "#g", &x, 0, T_INT, T_INT, sizeof x, 0, nullptr);
    soap_free_iht(c.s);
    for (size_t i = 0; i < SOAP_IDHASH; i++)
        ASSERT_EQ(c.s->iht[i], nullptr);
    soap_id_enter(c.s, "#e", &a, T_INT, sizeof a, 0, nullptr, nullptr, nullptr);
    soap_end(c.s);
    EXPECT_EQ(soap_lookup(c.s, "#e"), nullptr);
}

/* An id text of the form "#<prefix><n>" whose bucket is wanted. */
static std::string id_in_bucket(const char *prefix, size_t bucket)
{
    for (int n = 0;; n++) {
        std::string id = std::string("#") + prefix + std::to_string(n);
        if (soap_hash(id.c_str()) == bucket)
            return id;
    }
}

TEST(RefsIds, IdsInTheFirstAndLastBucketsAreResolvedAndFreed)
{
    const size_t buckets[] = {0, 31, 32, SOAP_IDHASH - 16, SOAP_IDHASH - 15, SOAP_IDHASH - 1};
    for (size_t b : buckets) {
        Ctx c;
        std::string id = id_in_bucket("k", b);
        long *cell = nullptr;
        soap_id_lookup(c.s, id.c_str(), reinterpret_cast<void **>(&cell), T_INT, sizeof(long), 0);
        long copy = 0;
        soap_id_forward(c.s, id.c_str(), &copy, sizeof copy, T_INT, T_INT, sizeof copy, 0, nullptr);
        long obj = 42;
        soap_id_enter(c.s, id.c_str(), &obj, T_INT, sizeof obj, 0, nullptr, nullptr, nullptr);
        ASSERT_EQ(soap_resolve(c.s), SOAP_OK) << b;
        EXPECT_EQ(cell, &obj) << b;
        EXPECT_EQ(copy, 42) << b;
        soap_free_iht(c.s);
        EXPECT_EQ(c.s->iht[b], nullptr) << b;
        EXPECT_EQ(soap_lookup(c.s, id.c_str()), nullptr) << b;
    }
}

TEST(RefsIds, MissingIdInTheLastBucketFailsTheResolution)
{
    Ctx c;
    std::string id = id_in_bucket("m", SOAP_IDHASH - 1);
    int *cell = nullptr;
    soap_id_lookup(c.s, id.c_str(), reinterpret_cast<void **>(&cell), T_INT, sizeof(int), 0);
    EXPECT_EQ(soap_resolve(c.s), SOAP_MISSING_ID);
    EXPECT_EQ(std::string(c.s->id), id);
}

TEST(RefsPointers, FreedTableForgetsEveryRecordWhateverItsSize)
{
    /* a few records, more records than buckets, and records of arrays */
    const size_t counts[] = {1, 33, SOAP_PTRHASH + 7};
    for (size_t n : counts) {
        for (bool with_array : {false, true}) {
            Ctx c;
            std::vector<long> objs(n);
            struct soap_plist *pp;
            for (auto &o : objs)
                ASSERT_NE(soap_pointer_enter(c.s, &o, nullptr, 0, T_INT, &pp), 0);
            std::vector<int> data(4);
            Array2 arr{data.data(), {2, 2}};
            auto *ra = reinterpret_cast<const struct soap_array *>(&arr);
            if (with_array) {
                ASSERT_NE(soap_pointer_enter(c.s, &arr, ra, 2, T_VEC, &pp), 0);
            }
            soap_free_pht(c.s);
            for (size_t i = 0; i < SOAP_PTRHASH; i++)
                ASSERT_EQ(c.s->pht[i], nullptr) << n << " " << with_array << " bucket " << i;
            EXPECT_EQ(soap_pointer_lookup(c.s, &objs[0], T_INT, &pp), 0);
            EXPECT_EQ(soap_array_pointer_lookup(c.s, &arr, ra, 2, T_VEC, &pp), 0);
            /* and takes new ones as before */
            soap_free_pht(c.s);
            EXPECT_EQ(soap_reference(c.s, &objs[0], T_INT), 0);
            EXPECT_EQ(soap_reference(c.s, &objs[0], T_INT), 2);
        }
    }
}

TEST(RefsIds, OutOfMemoryForACellGivesNull)
{
    Ctx c;
    int obj = 1;
    soap_id_enter(c.s, "#o", &obj, T_INT, sizeof obj, 0, nullptr, nullptr, nullptr);
    c.s->fmalloc = [](struct soap *, size_t) -> void * { return nullptr; };
    int **cell = nullptr;
    EXPECT_EQ(soap_id_lookup(c.s, "#o", reinterpret_cast<void **>(&cell), T_INT, sizeof obj, 1), nullptr);
    EXPECT_EQ(c.s->error, SOAP_EOM);
    c.s->error = SOAP_OK;
    EXPECT_EQ(soap_id_enter(c.s, "#new", nullptr, T_INT, 4, 0, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(c.s->error, SOAP_EOM);
    c.s->fmalloc = nullptr;
    c.s->error = SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Relocation of data built in block lists                                   */

TEST(RefsRelocation, SavedBlocksTakeTheirWaitingPlacesAlong)
{
    Ctx c;
    struct soap_blist *b = soap_new_block(c.s);
    /* two blocks of two pointer cells; the object with an id in the first */
    void **first = static_cast<void **>(soap_push_block(c.s, b, 2 * sizeof(void *)));
    void **second = static_cast<void **>(soap_push_block(c.s, b, 2 * sizeof(void *)));
    ASSERT_TRUE(first && second);
    first[0] = first[1] = second[0] = second[1] = nullptr;
    ASSERT_EQ(soap_id_enter(c.s, "#in", &first[0], T_PTR, sizeof(void *), 0, nullptr, nullptr, nullptr), &first[0]);
    /* a chain of waiting cells that crosses from one block into the other */
    soap_id_lookup(c.s, "#w", &second[0], T_INT, sizeof(int), 0);
    soap_id_lookup(c.s, "#w", &first[1], T_INT, sizeof(int), 0);
    /* an attachment reference whose field is in the second block */
    strcpy(c.s->href, "cid:att");
    ASSERT_EQ(soap_xop_forward(c.s, reinterpret_cast<unsigned char **>(&second[1]), nullptr, nullptr, nullptr, nullptr),
              SOAP_OK);

    void **saved = reinterpret_cast<void **>(soap_save_block(c.s, b, nullptr, 1));
    ASSERT_NE(saved, nullptr);
    EXPECT_EQ(soap_lookup(c.s, "#in")->ptr, &saved[0]);
    EXPECT_EQ(c.s->xlist->ptr, reinterpret_cast<unsigned char **>(&saved[3]));
    int obj = 6;
    soap_id_enter(c.s, "#w", &obj, T_INT, sizeof obj, 0, nullptr, nullptr, nullptr);
    ASSERT_EQ(soap_resolve(c.s), SOAP_OK);
    EXPECT_EQ(saved[1], &obj);
    EXPECT_EQ(saved[2], &obj);
    /* saved[3] is the attachment's field: filled when the attachment comes */
    char data[] = "payload";
    struct soap_multipart att {};
    att.ptr = data;
    att.size = 7;
    att.id = "<att>";
    soap_resolve_attachment(c.s, &att);
    EXPECT_EQ(saved[3], data);
}

TEST(RefsRelocation, PlacesOutsideTheRangeStay)
{
    Ctx c;
    char area[64];
    int outside;
    soap_id_enter(c.s, "#a", &outside, T_INT, sizeof outside, 0, nullptr, nullptr, nullptr);
    Pair target{};
    soap_id_forward(c.s, "#b", &target, 0, T_PAIR, T_PAIR, sizeof target, 0, nullptr);
    char dest[64];
    soap_update_pointers(c.s, area, area + sizeof area, dest, area);
    EXPECT_EQ(soap_lookup(c.s, "#a")->ptr, &outside);
    EXPECT_EQ(soap_lookup(c.s, "#b")->copy, &target);
}

/* ------------------------------------------------------------------------ */
/* Attachment references                                                     */

struct Blob {
    unsigned char *ptr = nullptr;
    int size = 0;
    char *id = nullptr;
    char *type = nullptr;
    char *options = nullptr;
};

TEST(RefsAttachments, XopReferenceIsFilledByItsAttachment)
{
    Ctx c;
    Blob one, two, other;
    strcpy(c.s->href, "cid:part%401");
    ASSERT_EQ(soap_xop_forward(c.s, &one.ptr, &one.size, &one.id, &one.type, &one.options), SOAP_OK);
    ASSERT_NE(one.id, nullptr);
    EXPECT_STREQ(one.id, "cid:part%401");
    soap_xop_forward(c.s, &two.ptr, &two.size, &two.id, &two.type, &two.options);
    strcpy(c.s->href, "cid:else");
    soap_xop_forward(c.s, &other.ptr, &other.size, &other.id, &other.type, &other.options);

    char data[] = "\x01\x02\x03";
    struct soap_multipart att {};
    att.ptr = data;
    att.size = 3;
    att.id = "<part@1>";
    att.type = "application/octet-stream";
    att.description = "the description";
    soap_resolve_attachment(c.s, &att);
    for (Blob *b : {&one, &two}) {
        EXPECT_EQ(b->ptr, reinterpret_cast<unsigned char *>(data));
        EXPECT_EQ(b->size, 3);
        EXPECT_STREQ(b->type, "application/octet-stream");
        EXPECT_STREQ(b->options, "the description");  /* no options: the description */
    }
    ASSERT_NE(c.s->xlist, nullptr);
    EXPECT_EQ(c.s->xlist->next, nullptr);  /* only the other one waits */
    EXPECT_EQ(other.ptr, nullptr);
    att.id = "<else>";
    att.options = "opts";
    soap_resolve_attachment(c.s, &att);
    EXPECT_STREQ(other.options, "opts");
    EXPECT_EQ(c.s->xlist, nullptr);
}

TEST(RefsAttachments, ContentIdsMatchLikeReferences)
{
    Ctx c;
    struct soap *s = c.s;
    EXPECT_NE(soap_match_cid(s, nullptr, "<a>"), 0);
    EXPECT_EQ(soap_match_cid(s, "<a>", "<a>"), 0);
    EXPECT_EQ(soap_match_cid(s, "cid:a", "<a>"), 0);
    EXPECT_EQ(soap_match_cid(s, "cid:a", "a"), 0);
    EXPECT_EQ(soap_match_cid(s, "a", "<a>"), 0);
    EXPECT_EQ(soap_match_cid(s, "cid:a%40b.c", "<a@b.c>"), 0);
    EXPECT_EQ(soap_match_cid(s, "cid:%3c", "<<>"), 0);
    EXPECT_NE(soap_match_cid(s, "cid:ab", "<abc>"), 0);
    EXPECT_NE(soap_match_cid(s, "cid:abc", "<ab>"), 0);
    EXPECT_NE(soap_match_cid(s, "cid:a%4", "<a@>"), 0);  /* cut escape is literal */
    EXPECT_EQ(soap_match_cid(s, "cid:a%4", "<a%4>"), 0);
    EXPECT_NE(soap_match_cid(s, "cid:", "<x>"), 0);
    EXPECT_EQ(soap_match_cid(s, "cid:", "<>"), 0);
}

/* ------------------------------------------------------------------------ */
/* Array size attributes                                                     */

TEST(RefsArraySizes, SizesAreReadFromTheEnd)
{
    int sizes[3] = {-7, -7, -7};
    EXPECT_EQ(soap_getsizes("xsd:int[2,3]", sizes, 2), 6);
    EXPECT_EQ(sizes[0], 2);
    EXPECT_EQ(sizes[1], 3);
    EXPECT_EQ(sizes[2], -7);
    EXPECT_EQ(soap_getsizes("xsd:int[][4]", sizes, 1), 4);  /* last brackets only */
    EXPECT_EQ(sizes[0], 4);
    EXPECT_EQ(soap_getsizes("2 3 4", sizes, 3), 24);  /* SOAP 1.2 arraySize form */
    EXPECT_EQ(sizes[0], 2);
    EXPECT_EQ(sizes[2], 4);
    EXPECT_EQ(soap_getsizes("x[0]", sizes, 1), 0);
}

TEST(RefsArraySizes, SizesAtTheirLimits)
{
    int sizes[2];
    EXPECT_EQ(soap_getsizes("x[1000000]", sizes, 1), SOAP_MAXARRAYSIZE);
    EXPECT_EQ(soap_getsizes("x[1000001]", sizes, 1), -1);
    EXPECT_EQ(soap_getsizes("x[1000,1000]", sizes, 2), SOAP_MAXARRAYSIZE);
    EXPECT_EQ(soap_getsizes("x[1000,1001]", sizes, 2), -1);
    EXPECT_EQ(soap_getsizes("x[99999999999999999999]", sizes, 1), -1);
    EXPECT_EQ(soap_getsizes("x[-1]", sizes, 1), -1);
    EXPECT_EQ(soap_getsizes("x[2,-1]", sizes, 2), -1);
    EXPECT_EQ(soap_getsizes("", sizes, 1), -1);
    EXPECT_EQ(soap_getsizes(nullptr, sizes, 1), -1);
    EXPECT_EQ(soap_getsizes("x[a]", sizes, 1), -1);
    EXPECT_EQ(soap_getsizes("x[]", sizes, 1), -1);
}

TEST(RefsArraySizes, SizeWithOffsetIsWhatRemains)
{
    int j = -1;
    EXPECT_EQ(soap_getsize("xsd:int[5]", nullptr, &j), 5);
    EXPECT_EQ(j, 0);
    EXPECT_EQ(soap_getsize("xsd:int[5]", "[2]", &j), 3);
    EXPECT_EQ(j, 2);
    EXPECT_EQ(soap_getsize("xsd:int[2,3]", "[1,1]", &j), 2);
    EXPECT_EQ(j, 4);
    EXPECT_EQ(soap_getsize("2 3", nullptr, &j), 6);
    EXPECT_EQ(soap_getsize("x[1000000]", nullptr, &j), SOAP_MAXARRAYSIZE);
    EXPECT_EQ(soap_getsize("x[1000001]", nullptr, &j), -1);
    EXPECT_EQ(soap_getsize("x[1001,1000]", nullptr, &j), -1);
    EXPECT_EQ(soap_getsize("x[-2]", nullptr, &j), -1);
    EXPECT_EQ(soap_getsize("x[5]", "[-1]", &j), -1);
    EXPECT_EQ(soap_getsize("x[*]", nullptr, &j), -1);
    EXPECT_EQ(soap_getsize("x[3,]", nullptr, &j), -1);
    EXPECT_EQ(soap_getsize("", nullptr, &j), -1);
    EXPECT_EQ(soap_getsize(nullptr, nullptr, &j), -1);
}

TEST(RefsArraySizes, OffsetsGiveTheLinearPosition)
{
    int sizes[2] = {2, 3};
    int offsets[2] = {-1, -1};
    EXPECT_EQ(soap_getoffsets("[1,2]", sizes, offsets, 2), 5);
    EXPECT_EQ(offsets[0], 1);
    EXPECT_EQ(offsets[1], 2);
    EXPECT_EQ(soap_getoffsets("[0,1]", sizes, nullptr, 2), 1);
    EXPECT_EQ(soap_getoffsets("[1,-1]", sizes, offsets, 2), -1);
    EXPECT_EQ(soap_getoffsets("[x]", sizes, offsets, 1), -1);
}

TEST(RefsArraySizes, SizeIsTheProductWithAtLeastOneFactor)
{
    int sizes[3] = {2, 3, 4};
    EXPECT_EQ(soap_size(sizes, 3), 24);
    EXPECT_EQ(soap_size(sizes, 1), 2);
    EXPECT_EQ(soap_size(sizes, 0), 2);
    int big[3] = {100000, 100000, 100000};
    EXPECT_EQ(soap_size(big, 3), -1);  /* beyond an int: refused */
}

}  // namespace
