#include "tests/themes/ThemeTexts.h"

#include <fstream>

#include "themes/ThemeFile.h"

std::string Base64Encode(const std::vector<uint8_t>& bytes) {
    static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        const uint32_t v = (uint32_t{bytes[i]} << 16) | (uint32_t{bytes[i + 1]} << 8) | bytes[i + 2];
        for (int s = 18; s >= 0; s -= 6) out += kAlphabet[(v >> s) & 63];
    }
    if (bytes.size() - i == 1) {
        const uint32_t v = uint32_t{bytes[i]} << 16;
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += "==";
    } else if (bytes.size() - i == 2) {
        const uint32_t v = (uint32_t{bytes[i]} << 16) | (uint32_t{bytes[i + 1]} << 8);
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += kAlphabet[(v >> 6) & 63];
        out += '=';
    }
    return out;
}

std::vector<uint8_t> PngBytes(int width, int height, size_t size) {
    std::vector<uint8_t> b = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
    for (int v : {width, height}) {
        for (int s = 24; s >= 0; s -= 8) b.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> s));
    }
    b.resize(size, 0);
    return b;
}

std::vector<uint8_t> FontBytes(size_t size, uint32_t magic) {
    std::vector<uint8_t> b(size, 0x5A);
    for (size_t i = 0; i < 4 && i < size; ++i) b[i] = static_cast<uint8_t>(magic >> (24 - 8 * i));
    return b;
}

std::string ThemeText(const std::string& extra, const std::string& name) {
    return "{\"name\":\"" + name +
           "\",\"bgMain\":\"#101010\",\"bgPanel\":\"#202020\",\"bgHeader\":\"#ABC\",\"accent\":\"rgb(1, 2 ,3)\","
           "\"accentHover\":\"#abcdef\",\"text\":\"#fff\",\"font\":\"'Consolas', 'Courier New', monospace\"" +
           extra + "}";
}

std::string SkinMembers(const std::string& pieces, const std::string& font) {
    std::string skin = ",\"format\":2,\"skin\":{\"template\":1";
    if (!pieces.empty()) skin += ",\"pieces\":" + pieces;
    if (!font.empty()) skin += ",\"font\":" + font;
    return skin + "}";
}

std::string PieceMember(const std::string& name) {
    const SkinPiece* row = FindSkinPiece(name);
    return "\"" + name + "\":\"" + Base64Encode(PngBytes(row ? row->width : 1, row ? row->height : 1, 40)) + "\"";
}

void WriteFileBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}
