// The manifest rules, versions, hosts, the JSON scanner, the DER form of signatures, and the signed file list.
#include <gtest/gtest.h>

#include "update/UpdateCore.h"

using namespace UpdateCore;

namespace {

const std::string kSha(64, 'a');
const std::string kSig(128, 'b');
const std::string kUrl = "https://quorvane.app/download/quorvane-1.0.2.zip";

std::string Manifest(const std::string& tier, const std::string& version, const std::string& url,
                     const std::string& sha = kSha, const std::string& sig = kSig) {
    return "{\"tier\":\"" + tier + "\",\"version\":\"" + version + "\",\"url\":\"" + url + "\",\"sha256\":\"" + sha +
           "\",\"sig\":\"" + sig + "\"}";
}

}  // namespace

TEST(UpdateVersionTest, ShapesAndOrder) {
    struct Row {
        const char* text;
        bool valid;
    };
    for (const Row& r : std::initializer_list<Row>{{"1.0.1", true},
                                                   {"0.0.0", true},
                                                   {"99999.99999.99999", true},
                                                   {"1.0.2-beta.3", true},
                                                   {"1.0.2-beta.00001", true},
                                                   {"100000.0.0", false},
                                                   {"1.0", false},
                                                   {"1.0.0.0", false},
                                                   {"v1.0.0", false},
                                                   {"1.0.0-rc.1", false},
                                                   {"1.0.0-beta", false},
                                                   {"1.0.0-beta.", false},
                                                   {"1..0", false},
                                                   {" 1.0.0", false},
                                                   {"1.0.0 ", false},
                                                   {"1.0.-1", false},
                                                   {"1.0.+1", false},
                                                   {"", false},
                                                   {"1.0.0-beta.123456", false},
                                                   {"1.0.0-Beta.1", false}})
        EXPECT_EQ(IsValidVersionShape(r.text), r.valid) << r.text;

    struct Order {
        const char* a;
        const char* b;
        bool greater;
    };
    for (const Order& o : std::initializer_list<Order>{{"1.0.10", "1.0.9", true},
                                                       {"1.0.9", "1.0.10", false},
                                                       {"2.0.0", "1.99.99", true},
                                                       {"1.1.0", "1.0.99", true},
                                                       {"1.0.1", "1.0.1", false},
                                                       {"1.0.2", "1.0.2-beta.9", true},
                                                       {"1.0.2-beta.9", "1.0.2", false},
                                                       {"1.0.2-beta.3", "1.0.2-beta.1", true},
                                                       {"1.0.2-beta.1", "1.0.2-beta.1", false},
                                                       {"1.0.2-beta.1", "1.0.1", true},
                                                       {"1.0.0", "bad", false},
                                                       {"bad", "1.0.0", false},
                                                       {"01.0.0", "1.0.0", false}})
        EXPECT_EQ(IsVersionGreater(o.a, o.b), o.greater) << o.a << " > " << o.b;
}

TEST(UpdateShapeTest, TiersDigestsUrls) {
    for (const char* t : {"free", "pro", "beta", "mac-free", "mac-pro", "mac-beta"}) EXPECT_TRUE(IsValidTierShape(t));
    for (const char* t : {"", "Pro", "pro ", "enterprise", "mac-"}) EXPECT_FALSE(IsValidTierShape(t)) << t;

    EXPECT_TRUE(IsValidSha256Shape(std::string(64, 'f')));
    EXPECT_FALSE(IsValidSha256Shape(std::string(64, 'F')));  // compared as text, so capitals are refused
    EXPECT_FALSE(IsValidSha256Shape(std::string(63, 'a')));
    EXPECT_FALSE(IsValidSha256Shape(std::string(65, 'a')));
    EXPECT_FALSE(IsValidSha256Shape(std::string(63, 'a') + "g"));

    EXPECT_TRUE(IsValidManifestUrlShape(kUrl));
    EXPECT_TRUE(IsValidManifestUrlShape("~!"));
    for (const std::string& u :
         {std::string(""), std::string("https://a|b"), std::string("https://a b"), std::string("https://a\tb"),
          std::string("https://a\x7f"), std::string("https://\xc3\xa9")})
        EXPECT_FALSE(IsValidManifestUrlShape(u)) << u;
}

TEST(UpdateHostTest, OnlyTheTwoProductHostsWhole) {
    EXPECT_TRUE(IsAllowedInstallerHost("https://quorvane.app/x.zip"));
    EXPECT_TRUE(IsAllowedInstallerHost("https://api.quorvane.app"));
    EXPECT_TRUE(IsAllowedInstallerHost("https://QuorVane.APP/x.zip"));
    EXPECT_TRUE(IsAllowedInstallerHost("https://quorvane.app?x"));
    EXPECT_TRUE(IsAllowedInstallerHost("https://quorvane.app#x"));
    for (const char* u : {"http://quorvane.app/x", "https://quorvane.app.evil.example/x",
                          "https://quorvane.app@evil.example/", "https://evil.example@quorvane.app/",
                          "https://quorvane.app:443/x", "https://quorvane.app./x", "https://www.quorvane.app/x",
                          "https://xquorvane.app/", "https://", "HTTPS://quorvane.app/", "https://127.0.0.1:8443/x"})
        EXPECT_FALSE(IsAllowedInstallerHost(u)) << u;  // this is the release build's trust

    EXPECT_TRUE(IsLoopbackTestHost("127.0.0.1:1"));
    EXPECT_TRUE(IsLoopbackTestHost("127.0.0.1:65535"));
    for (const char* h :
         {"127.0.0.1", "127.0.0.1:", "127.0.0.1:123456", "127.0.0.1:80x", "127.0.0.10:80", "localhost:80"})
        EXPECT_FALSE(IsLoopbackTestHost(h)) << h;
}

TEST(UpdateJsonTest, ScannerReadsTheFlatDocument) {
    EXPECT_EQ(ExtractJsonStringField("{\"a\": \"x\\ty\\n\\\"z\\\\\"}", "a"), "x\ty\n\"z\\");
    EXPECT_EQ(ExtractJsonStringField("{\"a\":\"open", "a"), "open");  // to the end when unterminated
    EXPECT_EQ(ExtractJsonStringField("{\"a\":\"x\\", "a"), "x\\");    // a final backslash stays
    EXPECT_EQ(ExtractJsonStringField("{\"b\":\"1\"}", "a"), "");
    EXPECT_EQ(ExtractJsonStringField("{\"a\":1,\"b\":\"next\"}", "a"), "b");  // whatever quote comes next
    EXPECT_EQ(ExtractJsonStringField("{\"a\"}", "a"), "");
    EXPECT_EQ(ExtractJsonStringField("{\"a\":\"first\",\"a\":\"second\"}", "a"), "first");

    EXPECT_TRUE(ExtractJsonBoolField("{\"e\":   true}", "e", false));
    EXPECT_FALSE(ExtractJsonBoolField("{\"e\":false}", "e", true));
    EXPECT_TRUE(ExtractJsonBoolField("{\"e\":\t false}", "e", true));  // only blanks are skipped
    EXPECT_FALSE(ExtractJsonBoolField("{\"x\":true}", "e", false));
    EXPECT_TRUE(ExtractJsonBoolField("{\"e\":\"false\"}", "e", true));
}

TEST(UpdateManifestTest, EvaluationOrderAndRefusals) {
    std::vector<std::string> payloads;
    bool verdict = true;
    const VerifyFn verify = [&](const std::string& payload, const std::string& sig) {
        payloads.push_back(payload + "#" + sig);
        return verdict;
    };
    UpdateManifestInfo out;
    ASSERT_TRUE(EvaluateManifest(verify, Manifest("pro", "1.0.2", kUrl), "pro", "1.0.1", out));
    EXPECT_EQ(payloads.back(), "QVN-UPDATE-1|pro|1.0.2|" + kSha + "|" + kUrl + "#" + kSig);
    EXPECT_EQ(out.tier, "pro");
    EXPECT_EQ(out.version, "1.0.2");
    EXPECT_EQ(out.url, kUrl);
    EXPECT_EQ(out.sha256, kSha);
    EXPECT_EQ(out.sig, kSig);

    // Refused before the signature is looked at: missing fields and bad shapes.
    struct Early {
        std::string text;
        const char* why;
    };
    for (const Early& e :
         std::initializer_list<Early>{{"{}", "empty"},
                                      {Manifest("", "1.0.2", kUrl), "no tier"},
                                      {Manifest("pro", "1.0.2", kUrl, kSha, ""), "no sig"},
                                      {Manifest("gold", "1.0.2", kUrl), "tier shape"},
                                      {Manifest("pro", "1.0", kUrl), "version shape"},
                                      {Manifest("pro", "1.0.2", kUrl, std::string(64, 'A')), "digest shape"},
                                      {Manifest("pro", "1.0.2", "https://quorvane.app/a|b"), "url shape"}}) {
        payloads.clear();
        EXPECT_FALSE(EvaluateManifest(verify, e.text, "pro", "1.0.1", out)) << e.why;
        EXPECT_TRUE(payloads.empty()) << e.why;
    }

    // Refused after the signature: the local comparisons never see a forged manifest, and do see a signed one.
    struct Late {
        std::string text;
        const char* why;
    };
    for (const Late& l : std::initializer_list<Late>{
             {Manifest("free", "1.0.2", kUrl), "another tier"},
             {Manifest("pro", "1.0.1", kUrl), "same version"},
             {Manifest("pro", "1.0.0", kUrl), "older"},
             {Manifest("pro", "1.0.1-beta.4", kUrl), "beta of the same version"},
             {Manifest("pro", "1.0.2", "http://quorvane.app/x.zip"), "plain http"},
             {Manifest("pro", "1.0.2", "https://quorvane.app.evil.example/x.zip"), "other host"}}) {
        payloads.clear();
        out = UpdateManifestInfo{};
        EXPECT_FALSE(EvaluateManifest(verify, l.text, "pro", "1.0.1", out)) << l.why;
        EXPECT_EQ(payloads.size(), 1u) << l.why;
        EXPECT_TRUE(out.version.empty()) << l.why;  // untouched on a refusal
        verdict = false;
        payloads.clear();
        EXPECT_FALSE(EvaluateManifest(verify, l.text, "pro", "1.0.1", out)) << l.why;
        verdict = true;
    }
    verdict = false;
    EXPECT_FALSE(EvaluateManifest(verify, Manifest("pro", "1.0.2", kUrl), "pro", "1.0.1", out));
    EXPECT_FALSE(EvaluateManifest(nullptr, Manifest("pro", "1.0.2", kUrl), "pro", "1.0.1", out));
    verdict = true;
    EXPECT_TRUE(EvaluateManifest(verify, Manifest("pro", "1.0.2-beta.1", kUrl), "pro", "1.0.1", out));
    EXPECT_TRUE(EvaluateManifest(verify, "{\"extra\":\"ignored\"," + Manifest("pro", "1.0.2", kUrl).substr(1), "pro",
                                 "1.0.1", out));
}

TEST(UpdateSignatureFormTest, HexAndDer) {
    EXPECT_EQ(HexDecode("00Ff7a"), (std::vector<unsigned char>{0x00, 0xff, 0x7a}));
    EXPECT_TRUE(HexDecode("abc").empty());
    EXPECT_EQ(HexDecode("ab zz cd").size(), 1u);  // stops at the first pair that is no hexadecimal
    EXPECT_EQ(HexDecode(std::string(127, 'a')).size(), 0u);
    EXPECT_EQ(HexDecode(std::string(130, 'a')).size(), 65u);

    unsigned char raw[64] = {};
    raw[31] = 1;     // r = 1: all leading zeros go but one byte
    raw[32] = 0x80;  // s has its top bit set: a zero byte goes in front
    std::vector<unsigned char> der = RawSignatureToDer(raw);
    ASSERT_EQ(der.size(), 2u + 3u + 35u);
    EXPECT_EQ(der[0], 0x30);
    EXPECT_EQ(der[1], 38);
    EXPECT_EQ((std::vector<unsigned char>(der.begin() + 2, der.begin() + 5)), (std::vector<unsigned char>{2, 1, 1}));
    EXPECT_EQ(der[5], 0x02);
    EXPECT_EQ(der[6], 33);
    EXPECT_EQ(der[7], 0x00);
    EXPECT_EQ(der[8], 0x80);

    unsigned char zeros[64] = {};
    zeros[1] = 0x90;  // r = 00 90 ...: the zero stays, as the next byte's top bit is set
    der = RawSignatureToDer(zeros);
    EXPECT_EQ(der[3], 32);
    EXPECT_EQ(der[4], 0x00);
    EXPECT_EQ(der[5], 0x90);
}

TEST(UpdateFileListTest, ParsesOnlyCleanSortedLists) {
    const std::string sha(64, 'c');
    FileList list;
    const std::string good = "version\t1.0.2\nd\tlib\nf\t" + sha +
                             "\t644\tlib/libwebview.so.0.12\nl\tlibwebview.so.0.12\tlib/x.so\n" + "f\t" + sha +
                             "\t755\tquorvane\n";
    ASSERT_EQ(ParseFileList(good, list), "");
    EXPECT_EQ(list.version, "1.0.2");
    ASSERT_EQ(list.entries.size(), 4u);
    EXPECT_EQ(list.entries[1].mode, 0644);
    EXPECT_EQ(list.entries[2].target, "libwebview.so.0.12");
    EXPECT_EQ(list.entries[3].mode, 0755);

    struct Bad {
        std::string text;
        const char* why;
    };
    for (const Bad& b : std::initializer_list<Bad>{{"", "empty"},
                                                   {"version\t1.0.2", "no final line end"},
                                                   {"version\t1.0\n", "bad version"},
                                                   {"f\t" + sha + "\t644\ta\n", "no version line"},
                                                   {"version\t1.0.2\nf\t" + sha + "\t644\t../a\n", "climbs out"},
                                                   {"version\t1.0.2\nf\t" + sha + "\t644\t/etc/passwd\n", "absolute"},
                                                   {"version\t1.0.2\nf\t" + sha + "\t644\ta//b\n", "empty part"},
                                                   {"version\t1.0.2\nf\t" + sha + "\t644\ta/./b\n", "dot part"},
                                                   {"version\t1.0.2\nf\t" + sha + "\t648\ta\n", "mode not octal"},
                                                   {"version\t1.0.2\nf\t" + sha + "\t0644\ta\n", "mode too long"},
                                                   {"version\t1.0.2\nf\tabc\t644\ta\n", "bad digest"},
                                                   {"version\t1.0.2\nf\t" + sha + "\t644\ta\textra\n", "extra field"},
                                                   {"version\t1.0.2\nl\t../../etc\tbin/x\n", "link outside"},
                                                   {"version\t1.0.2\nl\t/etc/passwd\tx\n", "absolute link"},
                                                   {"version\t1.0.2\nd\tb\nd\ta\n", "unsorted"},
                                                   {"version\t1.0.2\nd\ta\nd\ta\n", "doubled"},
                                                   {"version\t1.0.2\nx\ta\n", "unknown kind"},
                                                   {"version\t1.0.2\n\n", "blank line"}}) {
        FileList l;
        EXPECT_NE(ParseFileList(b.text, l), "") << b.why;
    }
}

TEST(UpdateFileListTest, PathsAndLinksStayInside) {
    for (const char* p : {"a", "a/b", "lib/libwebview.so.0.12", "..a", "a..", ".hidden"})
        EXPECT_TRUE(IsSafeRelativePath(p)) << p;
    for (const char* p : {"", "/a", "a/", "../a", "a/..", "a/../b", ".", "a\\b", "a\nb"})
        EXPECT_FALSE(IsSafeRelativePath(p)) << p;
    EXPECT_FALSE(IsSafeRelativePath(std::string(4097, 'a')));

    EXPECT_TRUE(IsLinkTargetInside("lib/x.so", "x.so.1"));
    EXPECT_TRUE(IsLinkTargetInside("lib/x.so", "../quorvane"));
    EXPECT_TRUE(IsLinkTargetInside("a/b/c", "../../d"));
    EXPECT_FALSE(IsLinkTargetInside("lib/x.so", "../../x"));
    EXPECT_FALSE(IsLinkTargetInside("x", ".."));
    EXPECT_FALSE(IsLinkTargetInside("x", "a/../../b"));
    EXPECT_FALSE(IsLinkTargetInside("x", "/usr/lib/x"));
    EXPECT_FALSE(IsLinkTargetInside("x", ""));
}

TEST(UpdateFileListTest, TreeMustMatchExactly) {
    const std::string sha(64, 'c');
    FileList list;
    ASSERT_EQ(
        ParseFileList("version\t1.0.2\nd\tlib\nf\t" + sha + "\t644\tlib/a\nf\t" + sha + "\t755\tquorvane\n", list), "");
    const std::vector<FileListEntry> tree{
        {'f', sha, 0755, "", "quorvane"}, {'d', "", 0, "", "lib"}, {'f', sha, 0644, "", "lib/a"}};
    EXPECT_EQ(CompareTreeWithList(list, tree), "");  // found in any order

    auto extra = tree;
    extra.push_back({'f', sha, 0644, "", "lib/b"});
    EXPECT_EQ(CompareTreeWithList(list, extra), "not in the list: lib/b");
    auto missing = tree;
    missing.pop_back();
    EXPECT_EQ(CompareTreeWithList(list, missing), "missing: lib/a");
    auto changed = tree;
    changed[2].sha256[0] = 'd';
    EXPECT_EQ(CompareTreeWithList(list, changed), "changed: lib/a");
    auto mode = tree;
    mode[0].mode = 0644;
    EXPECT_EQ(CompareTreeWithList(list, mode), "changed: quorvane");
    auto kind = tree;
    kind[2] = {'l', "", 0, "../quorvane", "lib/a"};
    EXPECT_EQ(CompareTreeWithList(list, kind), "changed: lib/a");
}
