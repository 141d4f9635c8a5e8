// Key names and the first-row-wins lookups, with a fake layout standing in for the keyboard.
#include <gtest/gtest.h>

#include "input/Keys.h"
#include "tests/fakes/Fakes.h"

namespace {

struct NameCase {
    int vk;
    const char* name;
};

class KeyNamesTest : public ::testing::Test {
protected:
    void SetUp() override { ClearFakeLayout(); }
    void TearDown() override { ClearFakeLayout(); }
};

TEST_F(KeyNamesTest, NamesWithoutALayout) {
    // One or two keys for each rule, with the edges of the ranges.
    const NameCase table[] = {
        {1, "Left Mouse"}, {3, "Key[3]"},  {-1, "Key[-1]"}, {256, "Key[256]"}, {135, "F24"},       {136, "Key[136]"},
        {105, "Num 9"},    {106, "Num *"}, {65, "A"},       {57, "9"},         {220, "Backslash"}, {193, "Key[193]"},
    };
    for (const auto& c : table) EXPECT_EQ(GetKeyName(c.vk), c.name) << "VK " << c.vk;
}

TEST_F(KeyNamesTest, LayoutStepAndItsFilter) {
    SetFakeLayoutChar(89, "Z");          // a German keyboard: the Y key prints z
    SetFakeLayoutChar(186, "\xC3\x96");  // Ö, non-ASCII bytes pass
    SetFakeLayoutChar(187, " ");         // a space: falls back to the default
    SetFakeLayoutChar(188, "\"");        // a double quote: falls back
    SetFakeLayoutChar(189, "A\\");       // a backslash anywhere: falls back
    SetFakeLayoutChar(190, "\t");        // a control character: falls back
    SetFakeLayoutChar(192, "^");         // the grave key never asks the layout
    SetFakeLayoutChar(112, "X");         // nor do fixed names
    SetFakeLayoutChar(32, "X");
    const NameCase table[] = {{89, "Z"},  {186, "\xC3\x96"}, {187, "="},  {188, ","},   {189, "-"},
                              {190, "."}, {192, "`"},        {112, "F1"}, {32, "Space"}};
    for (const auto& c : table) EXPECT_EQ(GetKeyName(c.vk), c.name) << "VK " << c.vk;
}

TEST(KeyLookupTest, FirstRowWinsBothWays) {
    // VKs 160 and 16 share a code, as left Shift and Shift do; VK 65 has two codes; two rows are out of range.
    const KeyRow rows[] = {{160, 56}, {16, 56}, {65, 0}, {65, 7}, {300, 9}, {-4, 10}};
    KeyLookup lookup{};
    BuildKeyLookup(rows, 6, lookup);
    EXPECT_EQ(lookup.forward[160], 56);
    EXPECT_EQ(lookup.forward[16], 56);  // a side-less modifier still maps forward
    EXPECT_EQ(lookup.forward[65], 0);   // code 0 is a real code, and the first row keeps it
    EXPECT_EQ(lookup.forward[66], -1);
    EXPECT_EQ(FirstVkForCode(rows, 6, 56), 160);  // and reads back as the left-hand VK
    EXPECT_EQ(FirstVkForCode(rows, 6, 0), 65);
    EXPECT_EQ(FirstVkForCode(rows, 6, 7), 65);
    EXPECT_EQ(FirstVkForCode(rows, 6, 8), 0);
    EXPECT_EQ(FirstVkForCode(rows, 6, 9), 300);  // out-of-range VKs stay out of the forward table only
}

}  // namespace
