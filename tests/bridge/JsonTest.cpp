// The JSON helpers of the bindings: the strict field reader and the escaping of results.
#include <gtest/gtest.h>

#include "core/BindArgs.h"

namespace {

TEST(JsonParseField, ValuesByKind) {
    const std::string doc =
        "{ \"s\":\"a\\\"b\\\\c\\/d\\n\\u00e9\\ud83d\\ude00\", \"n\" : -12.5e+3, \"o\":{\"k\":[1, {}]},"
        "\"t\":true,\"z\":null,\"e\":\"\",\"dup\":1,\"dup\":2 }\n";
    EXPECT_EQ(JsonParseField(doc, "s"), "a\"b\\c/d\n\xc3\xa9\xf0\x9f\x98\x80");
    EXPECT_EQ(JsonParseField(doc, "n"), "-12.5e+3");
    EXPECT_EQ(JsonParseField(doc, "o"), "{\"k\":[1, {}]}");
    EXPECT_EQ(JsonParseField(doc, "t"), "true");
    EXPECT_EQ(JsonParseField(doc, "z"), "null");
    EXPECT_EQ(JsonParseField(doc, "e"), "");
    EXPECT_EQ(JsonParseField(doc, "dup"), "1");
    EXPECT_EQ(JsonParseField(doc, "k"), "");  // only the top level
    EXPECT_EQ(JsonParseField(doc, "absent"), "");
    EXPECT_EQ(JsonParseField("{\"\\u0061\":5}", "a"), "5");  // keys compare decoded
}

TEST(JsonParseField, MalformedTextReadsAsEmpty) {
    const std::string nested = std::string(300, '[') + std::string(300, ']');
    const std::vector<std::string> bads = {"",
                                           "[1]",
                                           "\"a\"",
                                           "{",
                                           "{\"a\":1",
                                           "{\"a\":1,}",
                                           "{\"a\":1}x",
                                           "{\"a\":1}{}",
                                           "{a:1}",
                                           "{'a':1}",
                                           "{\"a\" 1}",
                                           "{\"a\":01}",
                                           "{\"a\":1.}",
                                           "{\"a\":.5}",
                                           "{\"a\":-}",
                                           "{\"a\":1e}",
                                           "{\"a\":tru}",
                                           "{\"a\":\"x\ty\"}",
                                           "{\"a\":\"\\x\"}",
                                           "{\"a\":\"\\u12G4\"}",
                                           "{\"a\":\"\\ud800\"}",
                                           "{\"a\":\"\\udc00\"}",
                                           "{\"a\":[1,]}",
                                           "{\"a\":[1 2]}",
                                           "{\"a\":1,\"b\":" + nested + "}",
                                           "\xef\xbb\xbf{\"a\":1}"};
    for (const std::string& bad : bads) {
        EXPECT_EQ(JsonParseField(bad, "a"), "") << bad;
    }
    const std::string deepButAllowed = std::string(200, '[') + std::string(200, ']');
    EXPECT_EQ(JsonParseField("{\"a\":1,\"b\":" + deepButAllowed + "}", "a"), "1");
}

TEST(JsonEscapeForBind, QuotesAndEscapes) {
    EXPECT_EQ(JsonEscapeForBind(""), "\"\"");
    EXPECT_EQ(JsonEscapeForBind("a\"b\\c"), "\"a\\\"b\\\\c\"");
    EXPECT_EQ(JsonEscapeForBind("\b\f\n\r\t"), "\"\\b\\f\\n\\r\\t\"");
    EXPECT_EQ(JsonEscapeForBind(std::string("\x01\x1f", 2)), "\"\\u0001\\u001f\"");
    EXPECT_EQ(JsonEscapeForBind("caf\xc3\xa9 / \x7f"), "\"caf\xc3\xa9 / \x7f\"");
    EXPECT_EQ(BindMessage(""), "");
    EXPECT_EQ(BindMessage("No.\n"), "\"No.\\n\"");
    // What the page receives reads back as what was sent.
    const std::string odd = "x\"\\\n\x02y";
    EXPECT_EQ(JsonParseField("{\"v\":" + JsonEscapeForBind(odd) + "}", "v"), odd);
}

}  // namespace
