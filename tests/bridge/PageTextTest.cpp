// What the main window is given to show, and the argument text of the bindings.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "app/Master.h"
#include "bridge/InlineVendorScripts.h"
#include "core/BindArgs.h"

namespace {

class UiFolder : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/qvn-ui-XXXXXX";
        root_ = mkdtemp(tmpl);
        ui_ = root_ + "/ui";
        mkdir(ui_.c_str(), 0700);
        mkdir((ui_ + "/vendor").c_str(), 0700);
    }
    void TearDown() override { std::system(("rm -rf '" + root_ + "'").c_str()); }
    void Write(const std::string& name, const std::string& text) { std::ofstream(ui_ + "/" + name) << text; }

    std::string root_, ui_;
};

TEST_F(UiFolder, MissingPageShowsTheMessage) {
    EXPECT_EQ(MainUiDocument(root_), "<h2>Error loading UI</h2><p>ui/index.html is missing from the app bundle.</p>");
    Write("index.html", "");
    EXPECT_EQ(MainUiDocument(root_), "<h2>Error loading UI</h2><p>ui/index.html is missing from the app bundle.</p>");
    Write("index.html", "<p>hi</p>");
    EXPECT_EQ(MainUiDocument(root_), "<p>hi</p>");
}

TEST_F(UiFolder, InlinesOnlyExactTagsOfReadableSafeFiles) {
    const std::string sortable = "<script src=\"vendor/Sortable.min.js\"></script>";
    const std::string timeline = "<script src=\"timeline.js\"></script>";
    Write("vendor/Sortable.min.js", "var S=1;");
    Write("timeline.js", "var T=2;");

    EXPECT_EQ(InlineVendorScripts("a" + sortable + "b" + timeline + "c", ui_),
              "a<script>var S=1;</script>b<script>var T=2;</script>c");
    // Only the first occurrence of a tag.
    EXPECT_EQ(InlineVendorScripts(timeline + timeline, ui_), "<script>var T=2;</script>" + timeline);
    // Another attribute, or anything between the tags: left as it is.
    const std::string deferred = "<script defer src=\"timeline.js\"></script>";
    EXPECT_EQ(InlineVendorScripts(deferred, ui_), deferred);
    const std::string filled = "<script src=\"timeline.js\"> </script>";
    EXPECT_EQ(InlineVendorScripts(filled, ui_), filled);

    // A file that would close its own block, an empty file, a missing file: the tag stays.
    Write("timeline.js", "x='</script>'");
    EXPECT_EQ(InlineVendorScripts(timeline, ui_), timeline);
    Write("timeline.js", "");
    EXPECT_EQ(InlineVendorScripts(timeline, ui_), timeline);
    unlink((ui_ + "/timeline.js").c_str());
    EXPECT_EQ(InlineVendorScripts(timeline, ui_), timeline);

    // The page may grow to 2 MiB and no further.
    const size_t limit = 2097152;
    const std::string wrap = "<script></script>";
    std::string body(limit - wrap.size() - 10, 'p');
    Write("vendor/Sortable.min.js", std::string(10, 's'));
    EXPECT_EQ(InlineVendorScripts(body + sortable, ui_).size(), limit);
    Write("vendor/Sortable.min.js", std::string(11, 's'));
    EXPECT_EQ(InlineVendorScripts(body + sortable, ui_), body + sortable);
}

TEST_F(UiFolder, InlinesStylesheetsAsStyleBlocks) {
    const std::string link = "<link rel=\"stylesheet\" href=\"page.css\">";
    Write("page.css", "b{x:1}");
    EXPECT_EQ(InlineVendorScripts("a" + link + "c", ui_), "a<style>b{x:1}</style>c");
    Write("page.css", "b{content:'</style>'}");
    EXPECT_EQ(InlineVendorScripts(link, ui_), link);
    // A script's closing tag is harmless in a style block, and the other way round.
    Write("page.css", "/* </script> */");
    EXPECT_EQ(InlineVendorScripts(link, ui_), "<style>/* </script> */</style>");
}

// The shipped main page names only files that the inliner knows: a tag left over would load nothing,
// since the page has no base folder.
TEST(ShippedPage, EveryOwnFileIsInlined) {
    const std::string page = MainUiDocument(QVN_SOURCE_DIR);
    ASSERT_NE(page.find("id=\"dashboard\""), std::string::npos);
    EXPECT_EQ(page.find("<script src="), std::string::npos);
    EXPECT_EQ(page.find("<link rel=\"stylesheet\""), std::string::npos);
    EXPECT_NE(page.find("function applyTheme("), std::string::npos);
    EXPECT_LT(page.size(), 2097152u);
}

TEST(BindArgsTest, ParseJSStringStripsBracketsAndQuotes) {
    const struct {
        const char* raw;
        const char* text;
    } cases[] = {
        {"[\"auto\"]", "auto"},       {"[12]", "12"}, {"[3,4.5]", "3,4.5"},
        {"[\"a[b]\\\"c\"]", "ab\\c"}, {"", ""},       {"[]", ""},
        {"[\"x,y\",\"z\"]", "x,y,z"},
    };
    for (const auto& c : cases) EXPECT_EQ(ParseJSString(c.raw), c.text) << c.raw;
}

}  // namespace
