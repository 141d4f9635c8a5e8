// Any bytes as the small files the Timeline Editor reads: the master's state line, its own window file, a
// transfer file's nonce line and a save result. Nothing crashes; a state is told to the page only when it
// is two runs of digits, so nothing else reaches the script; a window size is always usable and writes
// back as itself; a transfer file is taken only under its own nonce; a result always reads as the JSON
// object the page expects, carrying the file's message intact.
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/BindArgs.h"
#include "timeline/EditorProcess.h"

namespace {

bool Digits(const std::string& s) { return !s.empty() && s.find_first_not_of("0123456789") == std::string::npos; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);

    std::string last = "0 0";
    bool busy = false;
    const std::string script = TimelineStateScript(text, last, busy);
    if (!script.empty()) {
        const size_t blank = text.find(' ');
        if (last != text || !Digits(text.substr(0, blank)) || !Digits(text.substr(blank + 1))) __builtin_trap();
        if (!TimelineStateScript(text, last, busy).empty()) __builtin_trap();  // told once
    } else if (last != "0 0") {
        __builtin_trap();
    }

    int width = 0, height = 0;
    bool zoomed = false;
    ParseTimelineWindowSize(text, width, height, zoomed);
    if (width < 1 || height < 1) __builtin_trap();
    int w2 = 0, h2 = 0;
    bool z2 = false;
    ParseTimelineWindowSize(FormatTimelineWindowSize(width, height, zoomed), w2, h2, z2);
    if (w2 != width || h2 != height || z2 != zoomed) __builtin_trap();

    const std::string nonce = "0123456789abcdef0123456789abcdef";
    std::string rest;
    if (TimelineTransferTextFor(text, nonce, rest) && text != nonce + "\n" + rest) __builtin_trap();

    const std::string result = TimelineResultFromText(text);
    const JsonObjectView doc = JsonReadObject(result);
    const size_t lf = text.find('\n');
    const std::string message = lf == std::string::npos ? "" : text.substr(lf + 1);
    if (!doc.ok || doc.Field("message") != message) __builtin_trap();
    if (doc.Raw("ok") != (text.substr(0, lf) == "ok" ? "true" : "false")) __builtin_trap();
    return 0;
}
