// A theme file at the 12 MB cap with all 24 skin pieces and a 2 MB font: how long validation takes (in
// memory, and with the file read), and what a page's getSkinPiece round for every piece costs, cold (one
// file read and validation fill the cache) and warm (map lookups only).
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "core/AppState.h"
#include "platform/Platform.h"
#include "themes/Themes.h"

namespace {

std::string Base64Encode(const std::vector<uint8_t>& bytes) {
    static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        const uint32_t v = (uint32_t{bytes[i]} << 16) | (uint32_t{bytes[i + 1]} << 8) | bytes[i + 2];
        for (int s = 18; s >= 0; s -= 6) out += kAlphabet[(v >> s) & 63];
    }
    if (i < bytes.size()) {
        const uint32_t v = (uint32_t{bytes[i]} << 16) | (i + 1 < bytes.size() ? uint32_t{bytes[i + 1]} << 8 : 0);
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += i + 1 < bytes.size() ? kAlphabet[(v >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

// Pseudo-random filler, so that the base64 text looks like a real compressed image.
std::vector<uint8_t> Filler(size_t size, uint32_t seed) {
    std::vector<uint8_t> b(size);
    for (auto& x : b) {
        seed = seed * 1664525u + 1013904223u;
        x = static_cast<uint8_t>(seed >> 24);
    }
    return b;
}

std::string BigTheme() {
    std::vector<uint8_t> font = Filler(kSkinFontCap, 7);
    font[0] = 'O', font[1] = 'T', font[2] = 'T', font[3] = 'O';
    const std::string fontText = Base64Encode(font);
    const size_t room = kThemeFileCap - fontText.size() - 2048;
    const size_t pieceBytes = room / std::size(kSkinPieces) / 4 * 3;
    std::string pieces;
    for (const SkinPiece& p : kSkinPieces) {
        std::vector<uint8_t> png = Filler(pieceBytes, static_cast<uint32_t>(p.width * 7 + p.height));
        const uint8_t head[16] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
        std::copy(std::begin(head), std::end(head), png.begin());
        for (int i = 0; i < 4; ++i) {
            png[16 + i] = static_cast<uint8_t>(p.width >> (24 - 8 * i));
            png[20 + i] = static_cast<uint8_t>(p.height >> (24 - 8 * i));
        }
        pieces += (pieces.empty() ? "\"" : ",\n\"") + std::string(p.name) + "\":\"" + Base64Encode(png) + "\"";
    }
    return "{\"name\":\"Bench\",\"bgMain\":\"#101010\",\"bgPanel\":\"#202020\",\"bgHeader\":\"#303030\","
           "\"accent\":\"#4080ff\",\"accentHover\":\"#60a0ff\",\"text\":\"#eeeeee\","
           "\"font\":\"'Segoe UI', Tahoma, Geneva, Verdana, sans-serif\",\"format\":2,\n\"skin\":{\"template\":1,"
           "\"pieces\":{\n" +
           pieces + "},\n\"font\":\"" + fontText + "\"}}\n";
}

// Milliseconds of each of `runs` runs, sorted.
std::vector<double> Time(int runs, const std::function<void()>& fn) {
    std::vector<double> ms;
    for (int i = 0; i < runs; ++i) {
        const auto t = std::chrono::steady_clock::now();
        fn();
        ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t).count());
    }
    std::sort(ms.begin(), ms.end());
    return ms;
}

void Print(const char* what, const std::vector<double>& ms) {
    std::printf("%-44s %9.3f %9.3f %9.3f\n", what, ms.front(), ms[ms.size() / 2], ms.back());
}

}  // namespace

int main() {
    // A private data folder: the bench must not touch the user's themes.
    char dir[] = "/tmp/qvn-theme-bench-XXXXXX";
    if (!mkdtemp(dir)) return 1;
    setenv("XDG_DATA_HOME", dir, 1);

    const std::string text = BigTheme();
    const std::string path = GetThemesDirPath() + "/Bench.qvntheme";
    std::ofstream(path, std::ios::binary) << text;
    std::printf("theme file: %zu bytes (cap %zu), 24 pieces, font of %zu bytes\n\n", text.size(), kThemeFileCap,
                kSkinFontCap);

    CustomThemeDef def;
    int pieces = 0;
    bool hasFont = false;
    if (!ValidateQvnThemeData(text, def, nullptr, &pieces, &hasFont) || pieces != 24 || !hasFont) {
        std::printf("the bench theme does not validate\n");
        return 1;
    }
    constexpr int kRuns = 15;
    std::printf("%-44s %9s %9s %9s\n", "ms", "min", "median", "max");
    Print("ValidateQvnThemeData (in memory)", Time(kRuns, [&] { ValidateQvnThemeData(text, def); }));
    Print("ParseAndValidateQvnTheme (read + validate)", Time(kRuns, [&] { ParseAndValidateQvnTheme(path, def); }));

    ScanCustomThemes();
    auto round = [] {
        for (const SkinPiece& p : kSkinPieces) {
            if (BindGetSkinPiece("[\"Bench|" + std::string(p.name) + "\"]").size() < 3) std::abort();
        }
        if (BindGetSkinFont("[\"Bench\"]").size() < 3) std::abort();
    };
    Print("getSkinPiece x24 + getSkinFont, cold cache", Time(kRuns, [&] {
              {
                  std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
                  g_SkinCache = SkinCache{};
              }
              round();
          }));
    Print("getSkinPiece x24 + getSkinFont, warm cache", Time(kRuns, round));

    std::filesystem::remove_all(dir);
    return 0;
}
