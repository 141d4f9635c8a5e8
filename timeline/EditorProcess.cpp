#include "timeline/EditorProcess.h"

#include <cctype>
#include <charconv>
#include <cstdlib>

#include "core/BindArgs.h"
#include "platform/Platform.h"
#include "timeline/TimelineExchange.h"
#include "timeline/TimelineSaveDoc.h"

namespace {

constexpr const char* kTransferFiles[] = {"timeline-load.txt", "timeline-save.json", "timeline-result.txt",
                                          "timeline-state.txt"};

// The text behind the nonce's line of a transfer file, which is then removed; false when the file is
// missing or belongs to another request (it stays for that one).
bool TakeTransferFile(const std::string& name, const std::string& nonce, size_t maxBytes, std::string& rest) {
    if (!IsTimelineNonce(nonce)) return false;
    const std::string path = TimelineDataFilePath(name);
    std::string text;
    if (!ReadTimelineFile(path, text, maxBytes) || !TimelineTransferTextFor(text, nonce, rest)) return false;
    PlatformDeleteFile(path);
    return true;
}

// A whole number after any blanks, from `p` on; false when there is none or it doesn't fit.
bool ReadInt(const std::string& text, size_t& p, int& value) {
    while (p < text.size() && std::isspace(static_cast<unsigned char>(text[p]))) ++p;
    const auto [end, ec] = std::from_chars(text.data() + p, text.data() + text.size(), value);
    if (ec != std::errc()) return false;
    p = static_cast<size_t>(end - text.data());
    return true;
}

bool AllDigits(const std::string& s) {
    if (s.empty()) return false;
    for (char c : s) {
        if (c < '0' || c > '9') return false;
    }
    return true;
}

}  // namespace

std::atomic<bool> g_TimelineDirty{false};
std::atomic<bool> g_TimelineAutomationBusy{false};

int OpenTimelineEditorPid() {
    std::string text;
    if (!ReadTimelineFile(TimelineDataFilePath("timeline.pid"), text, 32)) return 0;
    const int pid = std::atoi(text.c_str());
    return PlatformProcessIsThisApp(pid) ? pid : 0;
}

void ParseTimelineWindowSize(const std::string& text, int& width, int& height, bool& zoomed) {
    int w = 0, h = 0;
    size_t p = 0;
    if (ReadInt(text, p, w) && ReadInt(text, p, h) && w >= 1 && h >= 1) {
        width = w;
        height = h;
        zoomed = text.find(" max") != std::string::npos;
    } else {
        width = 1000;
        height = 680;
        zoomed = false;
    }
}

std::string FormatTimelineWindowSize(int width, int height, bool zoomed) {
    if (width < 1 || height < 1) return "";
    return std::to_string(width) + " " + std::to_string(height) + (zoomed ? " max" : "");
}

void DeleteTimelineTransferFiles() {
    for (const char* name : kTransferFiles) {
        const std::string path = TimelineDataFilePath(name);
        PlatformDeleteFile(path);
        PlatformDeleteFile(path + ".tmp");
    }
}

std::string TimelineBindResult(bool ok, const std::string& message) {
    return std::string("{\"ok\":") + (ok ? "true" : "false") + ",\"message\":" + JsonEscapeForBind(message) + "}";
}

std::string TimelineReadLoad(const std::string& nonce) {
    std::string document;
    if (!TakeTransferFile("timeline-load.txt", nonce, kTimelineMaxDocumentBytes, document)) return "null";
    return JsonEscapeForBind(document);
}

bool TimelineTransferTextFor(const std::string& text, const std::string& nonce, std::string& rest) {
    const size_t lf = text.find('\n');
    if (lf == std::string::npos || text.compare(0, lf, nonce) != 0) return false;
    rest = text.substr(lf + 1);
    return true;
}

std::string TimelineResultFromText(const std::string& rest) {
    const size_t lf = rest.find('\n');
    const std::string status = rest.substr(0, lf);
    const std::string message = lf == std::string::npos ? "" : rest.substr(lf + 1);
    return TimelineBindResult(status == "ok", message);
}

std::string TimelineReadResult(const std::string& nonce) {
    std::string rest;
    if (!TakeTransferFile("timeline-result.txt", nonce, kTimelineMaxResultBytes, rest)) return "null";
    return TimelineResultFromText(rest);
}

std::string TimelineSaveRequest(const std::string& arg,
                                const std::function<void(const std::string&, const std::string&)>& send) {
    const char* ws = " \t\n\r";
    const size_t first = arg.find_first_not_of(ws);
    const size_t last = arg.find_last_not_of(ws);
    if (first == std::string::npos || last == first || arg[first] != '[' || arg[last] != ']') {
        return TimelineBindResult(false, "Malformed save request.");
    }
    const std::string_view document(arg.data() + first + 1, last - first - 1);
    TimelineSaveDoc doc;
    const std::string error = ParseTimelineSaveDoc(document, doc);
    if (!error.empty()) return TimelineBindResult(false, "Not saved: " + error);
    if (!WriteTimelineFileAtomic(TimelineDataFilePath("timeline-save.json"), std::string(document))) {
        return TimelineBindResult(false, "Couldn't write the edited macro to the data folder.");
    }
    send("applyTimelineEdit", doc.nonce);
    return TimelineBindResult(true, "");
}

std::string TimelineStateScript(const std::string& text, std::string& last, bool& busy) {
    if (text == last) return "";
    const size_t blank = text.find(' ');
    if (blank == std::string::npos || blank > 19) return "";
    const std::string seq = text.substr(0, blank);
    const std::string state = text.substr(blank + 1);
    if (!AllDigits(seq) || !AllDigits(state) || state.size() > 9) return "";
    last = text;
    busy = std::atoi(state.c_str()) != 0;
    const std::string flag = busy ? "true" : "false";
    return "if (window.onTimelineAutomation) window.onTimelineAutomation(" + flag + ", '" + seq +
           "'); else if (window.tlAckAutomation) window.tlAckAutomation('" + seq + "');";
}
