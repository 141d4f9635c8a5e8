#include "themes/ThemeFile.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "core/BindArgs.h"
#include "persist/Settings.h"

namespace {

bool Fail(std::string* error, std::string message) {
    if (error) *error = std::move(message);
    return false;
}

bool IsHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// One rgb() component: blanks (0x20 only) around one to three digits, at most 255.
bool IsRgbComponent(const std::string& piece) {
    size_t begin = 0, end = piece.size();
    while (begin < end && piece[begin] == ' ') ++begin;
    while (end > begin && piece[end - 1] == ' ') --end;
    if (end - begin < 1 || end - begin > 3) return false;
    int value = 0;
    for (size_t i = begin; i < end; ++i) {
        if (!IsDigit(piece[i])) return false;
        value = value * 10 + (piece[i] - '0');
    }
    return value <= 255;
}

// The base64 alphabet: a byte's six bits, or -1. Made once, on first use.
const std::array<int, 256>& Base64Table() {
    static const std::array<int, 256> kTable = [] {
        std::array<int, 256> t{};
        t.fill(-1);
        const std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        for (size_t i = 0; i < alphabet.size(); ++i) t[static_cast<unsigned char>(alphabet[i])] = static_cast<int>(i);
        return t;
    }();
    return kTable;
}

// Base64Decode into a buffer that the validator reuses from piece to piece.
void Base64DecodeInto(std::string_view text, std::vector<uint8_t>& out) {
    const std::array<int, 256>& table = Base64Table();
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const size_t n = text.size();
    out.resize(n / 4 * 3 + 3);
    uint8_t* o = out.data();
    size_t i = 0;
    // Whole quads of the alphabet first; the first quad with '=' or a stray byte goes to the loop below,
    // which starts, as every quad does, with no bits gathered.
    for (; i + 4 <= n; i += 4) {
        const int a = table[s[i]], b = table[s[i + 1]], c = table[s[i + 2]], d = table[s[i + 3]];
        if ((a | b | c | d) < 0) break;
        const uint32_t v = (uint32_t(a) << 18) | (uint32_t(b) << 12) | (uint32_t(c) << 6) | uint32_t(d);
        *o++ = static_cast<uint8_t>(v >> 16);
        *o++ = static_cast<uint8_t>(v >> 8);
        *o++ = static_cast<uint8_t>(v);
    }
    uint32_t bits = 0;
    int count = 0;
    for (; i < n; ++i) {
        if (s[i] == '=') break;
        const int v = table[s[i]];
        if (v < 0) {
            out.clear();
            return;
        }
        bits = (bits << 6) | static_cast<uint32_t>(v);
        count += 6;
        if (count >= 8) {
            count -= 8;
            *o++ = static_cast<uint8_t>(bits >> count);
        }
    }
    out.resize(static_cast<size_t>(o - out.data()));
}

uint32_t BigEndian32(const std::vector<uint8_t>& b, size_t at) {
    return (uint32_t{b[at]} << 24) | (uint32_t{b[at + 1]} << 16) | (uint32_t{b[at + 2]} << 8) | b[at + 3];
}

}  // namespace

const SkinPiece* FindSkinPiece(const std::string& name) {
    for (const SkinPiece& piece : kSkinPieces) {
        if (name == piece.name) return &piece;
    }
    return nullptr;
}

bool IsValidThemeColor(const std::string& text) {
    if ((text.size() == 4 || text.size() == 7) && text[0] == '#') {
        for (size_t i = 1; i < text.size(); ++i) {
            if (!IsHexDigit(text[i])) return false;
        }
        return true;
    }
    if (text.size() < 5 || text.compare(0, 4, "rgb(") != 0 || text.back() != ')') return false;
    const std::vector<std::string> parts = SplitString(text.substr(4, text.size() - 5), ',');
    if (parts.size() != 3) return false;
    for (const std::string& part : parts) {
        if (!IsRgbComponent(part)) return false;
    }
    return true;
}

bool IsValidThemeFont(const std::string& text) {
    return text == "'Segoe UI', Tahoma, Geneva, Verdana, sans-serif" || text == "'Consolas', 'Courier New', monospace";
}

bool IsValidThemeName(const std::string& text) {
    if (text.empty() || text.size() > 40) return false;
    for (char c : text) {
        const auto b = static_cast<unsigned char>(c);
        if (b < 0x20 || b == 0x7F) return false;
    }
    return true;
}

bool IsValidThemeKeyCharset(const std::string& text) {
    if (text.empty() || text.size() > 64) return false;
    for (char c : text) {
        const bool ok =
            IsAsciiLetter(c) || IsDigit(c) || c == ' ' || c == '_' || c == '-' || c == '.' || c == '(' || c == ')';
        if (!ok) return false;
    }
    return true;
}

bool IsStrictBase64(std::string_view text) {
    if (text.empty() || text.size() % 4 != 0) return false;
    const std::array<int, 256>& table = Base64Table();
    size_t i = 0;
    while (i < text.size() && table[static_cast<unsigned char>(text[i])] >= 0) ++i;
    const size_t padding = text.size() - i;
    if (padding > 2) return false;
    for (; i < text.size(); ++i) {
        if (text[i] != '=') return false;
    }
    return true;
}

std::vector<uint8_t> Base64Decode(std::string_view text) {
    std::vector<uint8_t> out;
    Base64DecodeInto(text, out);
    return out;
}

bool IsValidSkinPng(const std::vector<uint8_t>& bytes, int width, int height) {
    static constexpr uint8_t kHead[16] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
    if (bytes.size() < 24) return false;
    for (size_t i = 0; i < sizeof kHead; ++i) {
        if (bytes[i] != kHead[i]) return false;
    }
    return BigEndian32(bytes, 16) == static_cast<uint32_t>(width) &&
           BigEndian32(bytes, 20) == static_cast<uint32_t>(height);
}

bool IsValidSkinFont(const std::vector<uint8_t>& bytes) {
    if (bytes.size() < kSkinFontMinimum || bytes.size() > kSkinFontCap) return false;
    const uint32_t magic = BigEndian32(bytes, 0);
    return magic == 0x4F54544F /* "OTTO" */ || magic == 0x00010000;
}

std::vector<std::string> EnumerateJsonObjectKeys(std::string_view text) {
    std::vector<std::string> keys;
    size_t p = text.find('{');
    if (p == std::string_view::npos) return keys;
    ++p;
    const size_t n = text.size();
    auto isSpace = [](char c) { return c == '\t' || c == '\n' || c == '\r' || c == ' '; };
    for (;;) {
        while (p < n && (isSpace(text[p]) || text[p] == ',')) ++p;
        if (p >= n || text[p] != '"') return keys;
        ++p;
        std::string key;
        for (;;) {
            if (p >= n) return keys;  // no closing quote: the key is not kept
            char c = text[p++];
            if (c == '"') break;
            if (c == '\\') {
                if (p >= n) return keys;
                c = text[p++];
            }
            key += c;
        }
        keys.push_back(std::move(key));
        while (p < n && text[p] != ':') ++p;
        if (p < n) ++p;
        while (p < n && isSpace(text[p])) ++p;
        // Step over the value. A closing bracket at depth zero ends it unconsumed; so does a comma.
        int depth = 0;
        bool inString = false;
        for (; p < n; ++p) {
            const char c = text[p];
            if (inString) {
                // Only a quote or a backslash matters inside; skin data make runs of megabytes.
                p += JsonPlainRun(text.data() + p, n - p);
                if (p >= n) break;
                const char d = text[p];
                if (d == '\\') {
                    ++p;
                } else if (d == '"') {
                    inString = false;
                }
                continue;
            }
            if (c == '"') {
                inString = true;
            } else if (c == '{' || c == '[') {
                ++depth;
            } else if (c == '}' || c == ']') {
                if (depth == 0) break;
                --depth;
            } else if (c == ',' && depth == 0) {
                break;
            }
        }
        if (p >= n) return keys;
    }
}

bool ValidateQvnThemeData(const std::string& data, CustomThemeDef& out, std::string* error, int* skinPieces,
                          bool* skinHasFont) {
    if (data.empty()) return Fail(error, "file is empty");
    if (data.size() > kThemeFileCap) return Fail(error, "file exceeds the 12 MB cap");

    const JsonObjectView top = JsonReadObject(data);
    out.name = top.Field("name");
    if (!IsValidThemeName(out.name)) return Fail(error, "invalid or missing name");
    const std::pair<const char*, std::string CustomThemeDef::*> colours[] = {
        {"bgMain", &CustomThemeDef::bgMain},           {"bgPanel", &CustomThemeDef::bgPanel},
        {"bgHeader", &CustomThemeDef::bgHeader},       {"accent", &CustomThemeDef::accent},
        {"accentHover", &CustomThemeDef::accentHover}, {"text", &CustomThemeDef::text},
    };
    for (const auto& [key, field] : colours) {
        out.*field = top.Field(key);
        if (!IsValidThemeColor(out.*field)) return Fail(error, std::string("invalid or missing ") + key);
    }
    out.font = top.Field("font");
    if (!IsValidThemeFont(out.font)) return Fail(error, "invalid or missing font stack");

    // A theme of colours only, without complaint, unless the file asks for a skin of the one known template.
    out.hasSkin = false;
    if (top.Field("format") != "2") return true;
    // Skin data are megabytes: they are looked at through views, never copied.
    std::string skinStorage;
    const std::string_view skin = top.Value("skin", skinStorage);
    if (skin.empty()) return true;
    const JsonObjectView skinObject = JsonReadObject(skin);
    if (skinObject.Field("template") != "1") return true;

    // From here a bad skin fails the whole theme: it never degrades to colours only.
    std::string piecesStorage, valueStorage;
    std::vector<uint8_t> bytes;
    const std::string_view pieces = skinObject.Value("pieces", piecesStorage);
    int pieceCount = 0;
    if (!pieces.empty()) {
        if (pieces[0] != '{') return Fail(error, "skin.pieces is not an object");
        const JsonObjectView pieceObject = JsonReadObject(pieces);
        for (const std::string& key : EnumerateJsonObjectKeys(pieces)) {
            const SkinPiece* row = FindSkinPiece(key);
            if (!row) return Fail(error, "unknown skin piece name: " + key);
            const std::string_view value = pieceObject.Value(key, valueStorage);
            if (!IsStrictBase64(value)) return Fail(error, "invalid base64 for piece: " + key);
            Base64DecodeInto(value, bytes);
            if (bytes.empty() || bytes.size() > kSkinPieceCap) {
                return Fail(error, "piece exceeds the 1 MB decoded cap: " + key);
            }
            if (!IsValidSkinPng(bytes, row->width, row->height)) {
                return Fail(error, "invalid or wrong-size PNG for piece: " + key);
            }
            ++pieceCount;
        }
    }
    const std::string_view fontData = skinObject.Value("font", valueStorage);
    if (!fontData.empty()) {
        if (!IsStrictBase64(fontData)) return Fail(error, "invalid base64 for skin.font");
        Base64DecodeInto(fontData, bytes);
        if (bytes.size() > kSkinFontCap) return Fail(error, "font exceeds the 2 MB decoded cap");
        if (!IsValidSkinFont(bytes)) return Fail(error, "invalid font magic bytes");
    }
    out.hasSkin = pieceCount > 0 || !fontData.empty();
    if (skinPieces) *skinPieces = pieceCount;
    if (skinHasFont) *skinHasFont = !fontData.empty();
    return true;
}

bool ParseAndValidateQvnTheme(const std::string& path, CustomThemeDef& out, std::string* error, int* skinPieces,
                              bool* skinHasFont, std::string* rawData) {
    // Only a regular file (or a link to one) is opened: opening a FIFO dropped into the folder would block.
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) return Fail(error, "could not open file");
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file.is_open()) return Fail(error, "could not open file");
    const std::streamoff size = file.tellg();
    if (size <= 0) return Fail(error, "file is empty");
    // Tested before anything is allocated or read.
    if (static_cast<uint64_t>(size) > kThemeFileCap) return Fail(error, "file exceeds the 12 MB cap");
    file.seekg(0);
    std::string data(static_cast<size_t>(size), '\0');
    if (!file.read(data.data(), size) || file.gcount() != size) return Fail(error, "could not read file");
    if (!ValidateQvnThemeData(data, out, error, skinPieces, skinHasFont)) return false;
    out.filePath = path;
    if (rawData) *rawData = std::move(data);
    return true;
}
