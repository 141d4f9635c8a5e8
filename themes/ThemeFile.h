// The theme file (".qvntheme"): a JSON object with a name, six colours, a font stack and, from format 2
// on, a skin of PNG pieces and a font held as base64. Values of a theme reach the pages as style values,
// so the validator admits only a few exact shapes, and a file that breaks any rule is not loaded at all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// One loaded theme. The skin's data are not kept here: they are read from the file again on demand.
struct CustomThemeDef {
    std::string name;
    std::string bgMain;
    std::string bgPanel;
    std::string bgHeader;
    std::string accent;
    std::string accentHover;
    std::string text;
    std::string font;
    bool hasSkin = false;  // at least one valid piece, or a font
    std::string filePath;  // set only by ParseAndValidateQvnTheme
};

struct SkinPiece {
    const char* name;
    int width;
    int height;
};

// The closed list of skin pieces and the exact pixel size each piece's PNG must declare.
inline constexpr SkinPiece kSkinPieces[] = {
    {"window", 1024, 768},
    {"panel", 256, 256},
    {"panel-header", 256, 78},
    {"modal", 256, 256},
    {"modal-header", 256, 78},
    {"button", 192, 64},
    {"button-accent", 192, 64},
    {"button-danger", 192, 64},
    {"button-small", 48, 48},
    {"field", 128, 64},
    {"switch", 68, 40},
    {"switch-knob", 28, 28},
    {"radio", 52, 52},
    {"scroll-track", 16, 256},
    {"scroll-thumb", 16, 128},
    {"button.on", 192, 64},
    {"button-accent.on", 192, 64},
    {"button-danger.on", 192, 64},
    {"button-small.on", 48, 48},
    {"field.on", 128, 64},
    {"switch.on", 68, 40},
    {"switch-knob.on", 28, 28},
    {"radio.on", 52, 52},
    {"scroll-thumb.on", 16, 128},
};

// The row of kSkinPieces named exactly `name` (case-sensitive), or null.
const SkinPiece* FindSkinPiece(const std::string& name);

inline constexpr size_t kThemeFileCap = 0xC00000;  // 12 MB, whole file
inline constexpr size_t kSkinPieceCap = 0x100000;  // 1 MB, one decoded piece
inline constexpr size_t kSkinFontCap = 0x200000;   // 2 MB, the decoded font
inline constexpr size_t kSkinFontMinimum = 1024;

// Reads the file at `path` and validates it. The size is tested against the cap before anything is read.
// On success `out.filePath` is `path` and `rawData`, when given, receives the whole file. Optional
// out-parameters may be null. On failure `out` may be partly filled and must be discarded; `error` gets
// one short technical message (never shown to the user as it stands).
bool ParseAndValidateQvnTheme(const std::string& path, CustomThemeDef& out, std::string* error = nullptr,
                              int* skinPieces = nullptr, bool* skinHasFont = nullptr, std::string* rawData = nullptr);

// The same validation over text in memory. `error` is left alone on success; `skinPieces` and
// `skinHasFont` are written only when a skin was read.
bool ValidateQvnThemeData(const std::string& data, CustomThemeDef& out, std::string* error = nullptr,
                          int* skinPieces = nullptr, bool* skinHasFont = nullptr);

// "#rgb", "#rrggbb" (either case) or "rgb(r, g, b)" with three decimal components of at most 255.
bool IsValidThemeColor(const std::string& text);
// One of the two font stacks the pages know, byte for byte.
bool IsValidThemeFont(const std::string& text);
// 1 to 40 bytes, no control byte and no DEL; UTF-8 passes, and its limit counts bytes.
bool IsValidThemeName(const std::string& text);
// 1 to 64 bytes of ASCII letters, digits, blanks and _ - . ( ): the rule for a theme's key (file name).
bool IsValidThemeKeyCharset(const std::string& text);
// Standard base64 with padding, length a multiple of 4, no blanks or line breaks, at most two '='.
bool IsStrictBase64(std::string_view text);

// Standard base64 decoding. The first '=' ends the data; a byte outside the alphabet gives an empty result.
std::vector<uint8_t> Base64Decode(std::string_view text);

// A PNG whose header declares exactly width x height. Only the first 24 bytes are looked at.
bool IsValidSkinPng(const std::vector<uint8_t>& bytes, int width, int height);
// An OpenType or TrueType font of 1,024 bytes to 2 MB, told by its first four bytes.
bool IsValidSkinFont(const std::vector<uint8_t>& bytes);

// The top-level keys of a JSON object in file order, duplicates included. A scanner, not a parser: it
// never fails, it stops and returns what it has. A backslash in a key takes the next byte literally.
std::vector<std::string> EnumerateJsonObjectKeys(std::string_view text);
