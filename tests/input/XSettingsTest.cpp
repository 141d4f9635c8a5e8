// The settings manager's blob, from the bytes a desktop publishes and from broken ones.
#include <gtest/gtest.h>

#include "input/XSettings.h"

namespace {

std::string U32(uint32_t v, bool msb) {
    std::string s(4, '\0');
    for (int i = 0; i < 4; ++i) s[static_cast<size_t>(msb ? 3 - i : i)] = static_cast<char>((v >> (8 * i)) & 0xff);
    return s;
}

std::string U16(uint16_t v, bool msb) {
    std::string s(2, '\0');
    s[msb ? 1 : 0] = static_cast<char>(v & 0xff);
    s[msb ? 0 : 1] = static_cast<char>(v >> 8);
    return s;
}

std::string Padded(std::string s) {
    while (s.size() % 4) s += '\0';
    return s;
}

std::string Head(uint8_t type, const std::string& name, bool msb) {
    return std::string(1, static_cast<char>(type)) + '\0' + U16(static_cast<uint16_t>(name.size()), msb) +
           Padded(name) + U32(7, msb);
}

// A manager's blob: a string, a colour, then the double-click time.
std::string Blob(bool msb, int32_t ms) {
    std::string body = Head(1, "Net/ThemeName", msb) + U32(7, msb) + Padded("Adwaita");
    body += Head(2, "Gtk/Color", msb) + std::string(8, '\x10');
    body += Head(0, "Net/DoubleClickTime", msb) + U32(static_cast<uint32_t>(ms), msb);
    return std::string(1, msb ? '\1' : '\0') + std::string(3, '\0') + U32(1, msb) + U32(3, msb) + body;
}

TEST(XSettingsTest, FindsTheIntegerInEitherByteOrder) {
    for (bool msb : {false, true}) {
        int32_t value = 0;
        EXPECT_TRUE(ReadXSettingsInteger(Blob(msb, 250), "Net/DoubleClickTime", value)) << msb;
        EXPECT_EQ(value, 250) << msb;
        EXPECT_FALSE(ReadXSettingsInteger(Blob(msb, 250), "Net/DoubleClickDistance", value));
        EXPECT_FALSE(ReadXSettingsInteger(Blob(msb, 250), "Net/ThemeName", value));  // a string isn't an integer
    }
}

TEST(XSettingsTest, RefusesBrokenBlobsWithoutReadingPastThem) {
    const std::string good = Blob(false, 250);
    int32_t value = 0;
    for (size_t cut = 0; cut < good.size(); ++cut) {
        EXPECT_FALSE(ReadXSettingsInteger(good.substr(0, cut), "Net/DoubleClickTime", value)) << cut;
    }
    std::string badOrder = good;
    badOrder[0] = 2;
    std::string badType = good;
    badType[12] = 9;
    std::string hugeName = good;
    hugeName[14] = '\xff';
    hugeName[15] = '\xff';
    std::string hugeCount = good;
    hugeCount.replace(8, 4, U32(0xffffffff, false));
    for (const std::string& blob : {badOrder, badType, hugeName}) {
        EXPECT_FALSE(ReadXSettingsInteger(blob, "Net/DoubleClickTime", value));
    }
    EXPECT_TRUE(ReadXSettingsInteger(hugeCount, "Net/DoubleClickTime", value));  // found before the count runs out
}

}  // namespace
