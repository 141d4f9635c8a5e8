// The theme validator: every message in its order, the caps at and past their limits, and the shapes
// that each value may take.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "platform/Platform.h"
#include "tests/themes/ThemeTexts.h"
#include "themes/ThemeFile.h"

namespace {

std::string Quoted(const std::string& s) { return "\"" + s + "\""; }
std::string B64(const std::vector<uint8_t>& bytes) { return Quoted(Base64Encode(bytes)); }
std::string Edited(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
}

struct Outcome {
    bool ok;
    std::string error;
    int pieces;
    bool hasFont;
    bool hasSkin;
};

Outcome Validate(const std::string& text) {
    CustomThemeDef def;
    Outcome o{false, "untouched", -7, false, false};
    o.ok = ValidateQvnThemeData(text, def, &o.error, &o.pieces, &o.hasFont);
    o.hasSkin = def.hasSkin;
    // The same answer without any optional out-parameter.
    CustomThemeDef again;
    EXPECT_EQ(ValidateQvnThemeData(text, again), o.ok);
    return o;
}

struct Failure {
    const char* what;
    std::string text;
    std::string message;
};

TEST(ThemeValidate, EachFailureReportsItsMessage) {
    const std::string button192x65 = "{\"button\":" + B64(PngBytes(192, 65)) + "}";
    std::vector<uint8_t> notPng = PngBytes(192, 64);
    notPng[1] = 'Q';
    const Failure failures[] = {
        {"empty text", "", "file is empty"},
        {"not JSON", "name: Night", "invalid or missing name"},
        {"name empty", ThemeText("", ""), "invalid or missing name"},
        {"name of 41 bytes", ThemeText("", std::string(41, 'n')), "invalid or missing name"},
        {"name with a tab", ThemeText("", "a\\tb"), "invalid or missing name"},
        {"name with DEL", ThemeText("", "a\x7f"), "invalid or missing name"},
        {"bgMain is a colour word", Edited(ThemeText(), "#101010", "red"), "invalid or missing bgMain"},
        {"colours are checked in order", Edited(Edited(ThemeText(), "bgHeader", "x"), "#fff", "x"),
         "invalid or missing bgHeader"},
        {"font stack not one of the two", Edited(ThemeText(), "'Consolas', 'Courier New', monospace", "Arial"),
         "invalid or missing font stack"},
        {"pieces an array", ThemeText(SkinMembers("[]")), "skin.pieces is not an object"},
        {"unknown piece", ThemeText(SkinMembers("{\"bogus\":\"AAAA\"}")), "unknown skin piece name: bogus"},
        {"piece with a line break", ThemeText(SkinMembers("{\"button\":\"AAAA\\nAAAA\"}")),
         "invalid base64 for piece: button"},
        {"piece over 1 MB decoded", ThemeText(SkinMembers("{\"window\":" + B64(PngBytes(1024, 768, 0x100001)) + "}")),
         "piece exceeds the 1 MB decoded cap: window"},
        {"IHDR says 192 by 65", ThemeText(SkinMembers(button192x65)), "invalid or wrong-size PNG for piece: button"},
        {"no PNG signature", ThemeText(SkinMembers("{\"button\":" + B64(notPng) + "}")),
         "invalid or wrong-size PNG for piece: button"},
        {"PNG shorter than 24 bytes", ThemeText(SkinMembers("{\"button\":" + B64(PngBytes(192, 64, 23)) + "}")),
         "invalid or wrong-size PNG for piece: button"},
        {"the first bad piece is reported",
         ThemeText(SkinMembers("{" + PieceMember("field") + ",\"radio\":\"#\",\"nope\":1}")),
         "invalid base64 for piece: radio"},
        {"font with a blank", ThemeText(SkinMembers("", "\"AAAA AAA\"")), "invalid base64 for skin.font"},
        {"font over 2 MB decoded", ThemeText(SkinMembers("", B64(FontBytes(0x200001)))),
         "font exceeds the 2 MB decoded cap"},
        {"font of 1023 bytes", ThemeText(SkinMembers("", B64(FontBytes(1023)))), "invalid font magic bytes"},
        {"font with other magic", ThemeText(SkinMembers("", B64(FontBytes(2048, 0x774F4646)))),
         "invalid font magic bytes"},
    };
    for (const Failure& f : failures) {
        const Outcome o = Validate(f.text);
        EXPECT_FALSE(o.ok) << f.what;
        EXPECT_EQ(o.error, f.message) << f.what;
        EXPECT_EQ(o.pieces, -7) << f.what;
    }
}

struct Success {
    const char* what;
    std::string text;
    int pieces;  // -7: not written (a theme of colours only, by a quiet exit)
    bool hasFont;
    bool hasSkin;
};

TEST(ThemeValidate, QuietExitsAndSkinsThatPass) {
    const Success successes[] = {
        {"colours only", ThemeText(), -7, false, false},
        {"format 1 with garbage in the skin", ThemeText(",\"format\":1,\"skin\":{\"template\":1,\"pieces\":[]}"), -7,
         false, false},
        {"format 2 without skin", ThemeText(",\"format\":2"), -7, false, false},
        {"template 2 with a broken piece",
         ThemeText(",\"format\":2,\"skin\":{\"template\":2,\"pieces\":{\"bogus\":\"?\"}}"), -7, false, false},
        {"one piece", ThemeText(SkinMembers("{" + PieceMember("switch-knob.on") + "}")), 1, false, true},
        {"a piece listed twice counts twice",
         ThemeText(SkinMembers("{" + PieceMember("radio") + "," + PieceMember("radio") + "}")), 2, false, true},
        {"piece of exactly 1 MB decoded",
         ThemeText(SkinMembers("{\"window\":" + B64(PngBytes(1024, 768, 0x100000)) + "}")), 1, false, true},
        {"font only, TrueType magic, 1024 bytes", ThemeText(SkinMembers("", B64(FontBytes(1024)))), 0, true, true},
        {"font of exactly 2 MB, OTTO", ThemeText(SkinMembers("", B64(FontBytes(0x200000, 0x4F54544F)))), 0, true, true},
        {"unknown keys are ignored", ThemeText(",\"author\":{\"x\":[1,2]}" + SkinMembers("{}") + ",\"z\":null"), 0,
         false, false},
        {"name of 40 bytes in UTF-8", ThemeText("", std::string(38, 'n') + "\xc3\xa9"), -7, false, false},
    };
    for (const Success& s : successes) {
        const Outcome o = Validate(s.text);
        EXPECT_TRUE(o.ok) << s.what << ": " << o.error;
        EXPECT_EQ(o.error, "untouched") << s.what;
        EXPECT_EQ(o.pieces, s.pieces) << s.what;
        EXPECT_EQ(o.hasFont, s.hasFont) << s.what;
        EXPECT_EQ(o.hasSkin, s.hasSkin) << s.what;
    }
}

TEST(ThemeValidate, TheFileCapHoldsAtAndPastItsLimit) {
    std::string atCap = ThemeText();
    atCap.resize(kThemeFileCap, ' ');  // trailing blanks keep the JSON whole
    EXPECT_TRUE(Validate(atCap).ok);
    atCap += ' ';
    EXPECT_EQ(Validate(atCap).error, "file exceeds the 12 MB cap");

    const std::string dir = PlatformDataDir() + "/validate";
    std::filesystem::create_directories(dir);
    std::string error;
    CustomThemeDef def;
    int pieces = -7;
    bool hasFont = true;
    std::string raw;

    atCap.pop_back();
    WriteFileBytes(dir + "/cap.qvntheme", atCap);
    EXPECT_TRUE(ParseAndValidateQvnTheme(dir + "/cap.qvntheme", def, &error, &pieces, &hasFont, &raw));
    EXPECT_EQ(def.filePath, dir + "/cap.qvntheme");
    EXPECT_EQ(raw, atCap);

    // One byte more is refused on its size: a sparse file that would take no time to judge but 12 MB to read.
    std::filesystem::resize_file(dir + "/cap.qvntheme", kThemeFileCap + 1);
    raw = "kept";
    EXPECT_FALSE(ParseAndValidateQvnTheme(dir + "/cap.qvntheme", def, &error, &pieces, &hasFont, &raw));
    EXPECT_EQ(error, "file exceeds the 12 MB cap");
    EXPECT_EQ(raw, "kept");

    EXPECT_FALSE(ParseAndValidateQvnTheme(dir + "/absent.qvntheme", def, &error));
    EXPECT_EQ(error, "could not open file");
    std::filesystem::remove_all(dir);
}

TEST(ThemeValues, Colours) {
    for (const char* good : {"#ABC", "#09aF3c", "rgb(1, 2 ,003)", "rgb(1,2,3,)", "rgb(255,255,255)"}) {
        EXPECT_TRUE(IsValidThemeColor(good)) << good;
    }
    for (const char* bad :
         {"", "#abcd", "#abg", "red", "rgb(0,0,0", "rgb(", "rgb(1,2)", "rgb(1,2,3,4)", "rgb( ,2,3)", "rgb(256,0,0)",
          "rgb(0001,2,3)", "rgb(+1,2,3)", "rgb(1,\t2,3)", "RGB(1,2,3)", "rgb(1,2,3,,)"}) {
        EXPECT_FALSE(IsValidThemeColor(bad)) << bad;
    }
}

TEST(ThemeValues, StrictBase64AndDecoding) {
    for (const char* good : {"AA==", "AAA=", "+/+/", "QUJDRA=="}) {
        EXPECT_TRUE(IsStrictBase64(good)) << good;
    }
    for (const char* bad :
         {"", "A", "AAA", "A===", "====", "=AAA", "AA=A", "AA==AAAA", "AAAA\n", "AA AA ==", "AA-_", "AAAAA"}) {
        EXPECT_FALSE(IsStrictBase64(bad)) << bad;
    }
    EXPECT_EQ(Base64Decode("QUJD"), (std::vector<uint8_t>{'A', 'B', 'C'}));
    EXPECT_EQ(Base64Decode("QQ=="), (std::vector<uint8_t>{'A'}));
    EXPECT_EQ(Base64Decode("QUI="), (std::vector<uint8_t>{'A', 'B'}));
    EXPECT_EQ(Base64Decode("QQ==QUJD"), (std::vector<uint8_t>{'A'}));  // the first '=' ends the data
    EXPECT_TRUE(Base64Decode("QU\nJD").empty());
    EXPECT_TRUE(Base64Decode("").empty());
    const std::vector<uint8_t> every = [] {
        std::vector<uint8_t> b(256);
        for (int i = 0; i < 256; ++i) b[i] = static_cast<uint8_t>(i);
        return b;
    }();
    for (size_t n : {1, 2, 3, 4, 255, 256}) {
        const std::vector<uint8_t> part(every.begin(), every.begin() + static_cast<long>(n));
        EXPECT_EQ(Base64Decode(Base64Encode(part)), part) << n;
    }
}

TEST(ThemeValues, ObjectKeyScanner) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"", {}},
        {"no brace", {}},
        {"{}", {}},
        {"{\"a\":1,\"b\":{\"c\":[1,{\"d\":2}]},\"e\":\"x,}\\\"y\"}", {"a", "b", "e"}},
        {"{\"k\\\"q\":1, \"k\\\"q\":2}", {"k\"q", "k\"q"}},  // an escaped quote, and a key twice
        {"{\"a\":1,\"open", {"a"}},                          // a key without its closing quote is not kept
        {"{\"a\":[1,2", {"a"}},                              // the end of the text inside a value keeps the key
        {"{\"a\":1} \"b\":2", {"a"}},                        // the closing brace ends the scan
        {"[{\"a\":1}]", {"a"}},                              // behind the first brace, wherever it is
    };
    for (const auto& [text, keys] : cases) EXPECT_EQ(EnumerateJsonObjectKeys(text), keys) << text;
}

}  // namespace
