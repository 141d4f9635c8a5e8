#include "timeline/TimelineSaveDoc.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "core/Numbers.h"

namespace {

constexpr size_t kMaxStringBytes = 257;
constexpr size_t kMaxNumberBytes = 40;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// A cursor over the document. The first error stored is the one the user sees.
class Reader {
public:
    explicit Reader(std::string_view text) : text_(text) {}

    void SkipSpace() {
        while (pos_ < text_.size()) {
            const char c = text_[pos_];
            if (c != ' ' && c != '\t' && c != '\n' && c != '\r') break;
            ++pos_;
        }
    }

    bool Eat(char ch) {
        SkipSpace();
        if (pos_ >= text_.size() || text_[pos_] != ch) return false;
        ++pos_;
        return true;
    }

    bool Peek(char ch) {
        SkipSpace();
        return pos_ < text_.size() && text_[pos_] == ch;
    }

    bool AtEnd() const { return pos_ >= text_.size(); }

    // A string without escapes and without bytes outside printable ASCII: nonces and keys need neither.
    bool String(std::string& out) {
        if (!Eat('"')) {
            Fail("Expected a string.");
            return false;
        }
        const size_t start = pos_;
        for (;;) {
            if (pos_ >= text_.size()) {
                Fail("Unterminated string.");
                return false;
            }
            const auto c = static_cast<unsigned char>(text_[pos_]);
            if (c == '"') break;
            if (pos_ - start == kMaxStringBytes) {
                Fail("A string is too long.");
                return false;
            }
            if (c == '\\' || c < 0x20 || c >= 0x7F) {
                Fail("Unexpected character in a string.");
                return false;
            }
            ++pos_;
        }
        out.assign(text_.data() + start, pos_ - start);
        ++pos_;
        return true;
    }

    // One JSON number. Stores no error: the caller reports the event it belongs to.
    bool Number(double& out) {
        SkipSpace();
        const size_t start = pos_;
        const size_t n = text_.size();
        if (pos_ < n && text_[pos_] == '-') ++pos_;
        if (pos_ >= n || !IsDigit(text_[pos_])) return false;
        bool whole = true;
        if (text_[pos_] == '0') {
            ++pos_;
        } else {
            while (pos_ < n && IsDigit(text_[pos_])) ++pos_;
        }
        if (pos_ < n && text_[pos_] == '.') {
            whole = false;
            ++pos_;
            if (pos_ >= n || !IsDigit(text_[pos_])) return false;
            while (pos_ < n && IsDigit(text_[pos_])) ++pos_;
        }
        bool negativeExponent = false;
        if (pos_ < n && (text_[pos_] == 'e' || text_[pos_] == 'E')) {
            whole = false;
            ++pos_;
            if (pos_ < n && (text_[pos_] == '+' || text_[pos_] == '-')) negativeExponent = text_[pos_++] == '-';
            if (pos_ >= n || !IsDigit(text_[pos_])) return false;
            while (pos_ < n && IsDigit(text_[pos_])) ++pos_;
        }
        const size_t length = pos_ - start;
        if (length > kMaxNumberBytes) return false;
        const char* p = text_.data() + start;
        const bool negative = *p == '-';
        if (whole && length - (negative ? 1 : 0) <= 18) {
            // Fits an int64 exactly, and its conversion rounds as the general one does; far quicker.
            int64_t v = 0;
            for (const char* q = p + (negative ? 1 : 0); q < p + length; ++q) v = v * 10 + (*q - '0');
            out = negative ? -static_cast<double>(v) : static_cast<double>(v);
            return true;
        }
        // Copied into a short buffer, as the text itself is not ours to terminate. The conversion is
        // locale-free: the window toolkit may have switched the C locale to one with a decimal comma.
        char buf[kMaxNumberBytes + 1];
        std::memcpy(buf, p, length);
        buf[length] = '\0';
        double v = 0;
        const auto r = std::from_chars(buf, buf + length, v, std::chars_format::general);
        if (r.ec == std::errc::result_out_of_range && negativeExponent) {
            // Below the smallest double: the standard string-to-number conversion gives zero here. A token
            // of at most 40 bytes with a negative exponent can't overflow, nor one without underflow.
            v = negative ? -0.0 : 0.0;
        } else if (r.ec != std::errc() || r.ptr != buf + length || !std::isfinite(v)) {
            return false;
        }
        out = v;
        return true;
    }

    void Fail(const std::string& message) {
        if (error_.empty()) error_ = message;
    }

    const std::string& error() const { return error_; }

private:
    std::string_view text_;
    size_t pos_ = 0;
    std::string error_;
};

bool IsWhole(double v) { return std::floor(v) == v; }

// The range checks of one event array, in the order the user is told about them.
const char* EventValueError(const double (&v)[8]) {
    if (!IsWhole(v[0]) || v[0] < 0 || v[0] > 5) return "unknown event type.";
    if (!IsWhole(v[2]) || std::fabs(v[2]) > 1000000 || !IsWhole(v[3]) || std::fabs(v[3]) > 1000000)
        return "position is out of range.";
    if (!IsWhole(v[4]) || v[4] < 0 || v[4] > 4294967295.0) return "mouse flags are out of range.";
    if (!IsWhole(v[5]) || v[5] < 0 || v[5] > 255) return "key code is out of range.";
    if (v[6] != 0 && v[6] != 1) return "the down flag must be 0 or 1.";
    if (!IsWhole(v[7]) || std::fabs(v[7]) > 1000000) return "scroll amount is out of range.";
    return nullptr;
}

// At the list's opening bracket. False with the reader's error set, or with none when the list didn't close.
bool ReadEvents(Reader& r, std::vector<UnifiedEvent>& events) {
    if (r.Eat(']')) return true;
    for (size_t i = 0;; ++i) {
        if (events.size() >= kTimelineMaxEvents) {
            r.Fail("Too many events (the limit is 1000000).");
            return false;
        }
        if (!r.Eat('[')) {
            r.Fail(EventError(i, "expected [type, time, x, y, flags, vk, down, wheel]."));
            return false;
        }
        double v[8];
        for (int k = 0; k < 8; ++k) {
            if (k > 0 && !r.Eat(',')) {
                r.Fail(EventError(i, "needs exactly 8 values."));
                return false;
            }
            if (!r.Number(v[k])) {
                r.Fail(EventError(i, "has a value that is not a number."));
                return false;
            }
        }
        if (!r.Eat(']')) {
            r.Fail(EventError(i, "needs exactly 8 values."));
            return false;
        }
        if (const char* message = EventValueError(v)) {
            r.Fail(EventError(i, message));
            return false;
        }
        UnifiedEvent& e = events.emplace_back();
        e.type = static_cast<int32_t>(v[0]);
        e.time = v[1];
        e.x = static_cast<int64_t>(v[2]);
        e.y = static_cast<int64_t>(v[3]);
        e.mouseFlags = static_cast<uint64_t>(v[4]);
        e.vk = static_cast<int32_t>(v[5]);
        e.down = v[6] != 0;
        e.scrollDelta = static_cast<int32_t>(v[7]);
        if (!r.Eat(',')) break;
    }
    if (!r.Eat(']')) {
        r.Fail("events list is malformed.");
        return false;
    }
    return true;
}

// The body of the parser; false with the reader's error set.
bool ReadDocument(Reader& r, TimelineSaveDoc& doc) {
    const auto fallback = [&r](const char* message) {
        r.Fail(message);
        return false;
    };
    if (!r.Eat('{')) return fallback("The edited macro is not in the expected format.");
    bool seenNonce = false, seenLoadNonce = false, seenEvents = false;
    if (!r.Peek('}')) {
        do {
            std::string key;
            if (!r.String(key) || !r.Eat(':')) return fallback("Malformed document.");
            if (key == "nonce" || key == "loadNonce") {
                bool& seen = key == "nonce" ? seenNonce : seenLoadNonce;
                if (seen) return fallback(("Duplicate key: " + key + ".").c_str());
                seen = true;
                std::string& value = key == "nonce" ? doc.nonce : doc.loadNonce;
                if (!r.String(value)) return fallback("Malformed document.");
                if (!IsTimelineNonce(value)) return fallback(("Malformed " + key + ".").c_str());
            } else if (key == "events") {
                if (seenEvents) return fallback("Duplicate key: events.");
                seenEvents = true;
                if (!r.Eat('[')) return fallback("events must be a list.");
                if (!ReadEvents(r, doc.events)) return fallback("Malformed event.");
            } else {
                return fallback("Unexpected key in the edited macro.");
            }
        } while (r.Eat(','));
    }
    if (!r.Eat('}')) return fallback("The edited macro is not in the expected format.");
    r.SkipSpace();
    if (!r.AtEnd()) return fallback("Unexpected data after the edited macro.");
    if (!seenNonce || !seenLoadNonce || !seenEvents) return fallback("The edited macro is missing a field.");
    return true;
}

}  // namespace

bool IsTimelineNonce(const std::string& text) {
    if (text.empty() || text.size() > 64) return false;
    for (char c : text) {
        const bool hex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (!hex) return false;
    }
    return true;
}

std::string EventError(size_t index, const std::string& message) {
    std::string out = "Event ";
    AppendUInt(out, static_cast<uint64_t>(index) + 1);
    out += ": ";
    out += message;
    return out;
}

std::string ParseTimelineSaveDoc(std::string_view json, TimelineSaveDoc& doc) {
    if (json.size() > kTimelineMaxDocumentBytes) return "The edited macro is too large to save.";
    Reader r(json);
    TimelineSaveDoc parsed;
    if (!ReadDocument(r, parsed)) return r.error();
    std::string invalid = ValidateTimelineEvents(parsed.events);
    if (!invalid.empty()) return invalid;
    doc = std::move(parsed);
    return "";
}

std::string ValidateTimelineEvents(const std::vector<UnifiedEvent>& events) {
    if (events.size() > kTimelineMaxEvents) {
        std::string out = "Too many events (";
        AppendUInt(out, events.size());
        return out + "; the limit is 1000000).";
    }
    for (size_t i = 0; i < events.size(); ++i) {
        const UnifiedEvent& e = events[i];
        if (e.type < 0 || e.type > 5) return EventError(i, "unknown event type.");
        if (!std::isfinite(e.time) || e.time < 0 || e.time > 1000000) return EventError(i, "time is out of range.");
        if (i > 0 && e.time < events[i - 1].time) return EventError(i, "times are out of order.");
        if (e.x < -1000000 || e.x > 1000000 || e.y < -1000000 || e.y > 1000000)
            return EventError(i, "position is out of range.");
        if (e.vk < 0 || e.vk > 255) return EventError(i, "key code is out of range.");
        if (e.scrollDelta < -1000000 || e.scrollDelta > 1000000) return EventError(i, "scroll amount is out of range.");
    }
    return "";
}
