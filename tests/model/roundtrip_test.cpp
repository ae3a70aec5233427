/* roundtrip_test.cpp -- every message class, from the generated list: an object with every member
 * set is written, read back through the element dispatch and written again; the two documents are
 * equal byte for byte, the object read has the class's dynamic type and type id, and the context
 * frees all of it.  Each document is also kept on disk for the schema validation test.
 */
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/stat.h>

#include "model_support.h"
#include "roundtrip_cases.h"

using model_test::Ctx;
using model_test::Filler;

namespace {

/* Where the documents go for xmllint; empty: not kept. */
std::string doc_dir()
{
    const char *d = std::getenv("ORVSOAP_MODEL_DOCS");
    return d ? d : "";
}

void keep(const std::string &name, const std::string &doc)
{
    std::string dir = doc_dir();
    if (dir.empty())
        return;
    mkdir(dir.c_str(), 0755);
    std::ofstream(dir + "/" + name + ".xml", std::ios::binary) << doc;
}

class RoundTrip : public ::testing::TestWithParam<RoundTripCase> {};

TEST_P(RoundTrip, WritesReadsAndWritesTheSameDocument)
{
    const RoundTripCase &c = GetParam();
    const soap_class_info *ci = soap_class_info_of(c.type);
    ASSERT_NE(nullptr, ci) << c.name;
    Ctx ctx;
    Filler fill{ctx.get()};
    fill.seed = c.type;
    void *obj = fill.make(ci, 0);
    ASSERT_NE(nullptr, obj);
    EXPECT_EQ(c.type, ci->ops->vtype(obj));
    EXPECT_EQ(*c.rtti, *ci->ops->vrtti(obj));

    /* the document the schema sees: its own element for an anonymous type, else an xsi:type */
    const char *root = c.anonymous ? c.qname : "t:doc";
    const char *type = c.anonymous ? "" : c.qname;
    std::string doc = ctx.write(obj, ci, root, type);
    ASSERT_EQ(0u, doc.find("<?xml")) << doc;
    keep(c.name, doc);

    /* the document read back: by tag for root-element classes, by xsi:type otherwise */
    std::string first = c.element_class ? ctx.write(obj, ci, c.qname, "") : doc;
    int t = 0;
    void *back = ctx.read(first, &t);
    ASSERT_NE(nullptr, back) << "error " << ctx->error << " reading\n" << first;
    EXPECT_EQ(c.type, t);
    EXPECT_EQ(c.type, ci->ops->vtype(back));
    EXPECT_EQ(*c.rtti, *ci->ops->vrtti(back));
    EXPECT_NE(obj, back);
    std::string second = ctx.write(back, ci, c.element_class ? c.qname : "t:doc", c.element_class ? "" : c.qname);
    EXPECT_EQ(first, second);

    soap_delete(ctx.get(), nullptr);
    soap_end(ctx.get());
    EXPECT_EQ(nullptr, ctx->clist);
    EXPECT_EQ(0u, ctx.live_blocks());
}

std::string case_name(const ::testing::TestParamInfo<RoundTripCase> &info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(EveryClass, RoundTrip, ::testing::ValuesIn(kRoundTripCases), case_name);

/* The list covers the model: 408 classes, every one with an id and an info record. */
TEST(RoundTripCases, CoverEveryClassOfTheModelOnce)
{
    size_t classes = 0;
    for (int t = 1; t <= soap_type_max; t++)
        if (soap_class_info_of(t))
            classes++;
    EXPECT_EQ(classes, sizeof kRoundTripCases / sizeof kRoundTripCases[0]);
    EXPECT_EQ(408u, classes);
}

}  // namespace

void PrintTo(const RoundTripCase &c, std::ostream *os)
{
    *os << c.name;
}
