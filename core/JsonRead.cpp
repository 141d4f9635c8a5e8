// A small, strict JSON reader (RFC 8259 syntax): enough to look keys up in one object. Anything that is not
// well-formed is refused as a whole, so that a damaged file reads as empty rather than half-read.
#include <array>
#include <cstdint>
#include <cstring>

#include "core/BindArgs.h"
#include "core/Numbers.h"

namespace {

// Containers nested deeper than this are refused: the reader recurses, and outside data chooses the depth.
constexpr int kMaxDepth = 256;

// Bytes that end the plain run of a string: the closing quote, an escape, and the control bytes that JSON
// forbids raw.
constexpr std::array<bool, 256> kStringStops = [] {
    std::array<bool, 256> t{};
    for (int c = 0; c < 0x20; ++c) t[c] = true;
    t['"'] = true;
    t['\\'] = true;
    return t;
}();

void AppendUtf8(std::string& out, uint32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

class Reader {
public:
    explicit Reader(std::string_view text) : s_(text) {}

    size_t pos() const { return p_; }
    bool AtEnd() const { return p_ == s_.size(); }
    bool Peek(char c) const { return p_ < s_.size() && s_[p_] == c; }
    bool Eat(char c) {
        if (!Peek(c)) return false;
        ++p_;
        return true;
    }

    void SkipSpace() {
        while (p_ < s_.size() && (s_[p_] == ' ' || s_[p_] == '\t' || s_[p_] == '\n' || s_[p_] == '\r')) ++p_;
    }

    // At a double quote: reads the string, decoding it into `out` when one is given.
    bool String(std::string* out) {
        if (!Eat('"')) return false;
        for (;;) {
            const size_t start = p_;
            p_ += JsonPlainRun(s_.data() + p_, s_.size() - p_);
            if (out) out->append(s_.data() + start, p_ - start);
            if (p_ >= s_.size()) return false;
            const char c = s_[p_++];
            if (c == '"') return true;
            if (c != '\\') return false;  // a raw control byte
            if (!Escape(out)) return false;
        }
    }

    bool Value(int depth) {
        if (p_ >= s_.size() || depth > kMaxDepth) return false;
        switch (s_[p_]) {
            case '{': return Object(depth + 1);
            case '[': return Array(depth + 1);
            case '"': return String(nullptr);
            case 't': return Word("true");
            case 'f': return Word("false");
            case 'n': return Word("null");
            default: return Number();
        }
    }

private:
    bool Escape(std::string* out) {
        if (p_ >= s_.size()) return false;
        const char c = s_[p_++];
        char plain = 0;
        switch (c) {
            case '"': plain = '"'; break;
            case '\\': plain = '\\'; break;
            case '/': plain = '/'; break;
            case 'b': plain = '\b'; break;
            case 'f': plain = '\f'; break;
            case 'n': plain = '\n'; break;
            case 'r': plain = '\r'; break;
            case 't': plain = '\t'; break;
            case 'u': {
                uint32_t cp = 0;
                if (!Hex4(cp)) return false;
                if (cp >= 0xDC00 && cp <= 0xDFFF) return false;  // a low surrogate alone
                if (cp >= 0xD800 && cp <= 0xDBFF) {
                    uint32_t low = 0;
                    if (!Eat('\\') || !Eat('u') || !Hex4(low) || low < 0xDC00 || low > 0xDFFF) return false;
                    cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                }
                if (out) AppendUtf8(*out, cp);
                return true;
            }
            default: return false;
        }
        if (out) *out += plain;
        return true;
    }

    bool Hex4(uint32_t& value) {
        if (s_.size() - p_ < 4) return false;
        value = 0;
        for (int i = 0; i < 4; ++i) {
            const int h = HexDigitValue(s_[p_++]);
            if (h < 0) return false;
            value = value * 16 + static_cast<uint32_t>(h);
        }
        return true;
    }

    bool Word(std::string_view word) {
        if (s_.substr(p_, word.size()) != word) return false;
        p_ += word.size();
        return true;
    }

    bool Digits() {
        const size_t start = p_;
        while (p_ < s_.size() && s_[p_] >= '0' && s_[p_] <= '9') ++p_;
        return p_ > start;
    }

    bool Number() {
        Eat('-');
        if (Eat('0')) {
            // no leading zeros
        } else if (!Digits()) {
            return false;
        }
        if (Eat('.') && !Digits()) return false;
        if (Eat('e') || Eat('E')) {
            if (!Eat('+')) Eat('-');
            if (!Digits()) return false;
        }
        return true;
    }

    bool Object(int depth) {
        Eat('{');
        SkipSpace();
        if (Eat('}')) return true;
        for (;;) {
            SkipSpace();
            if (!String(nullptr)) return false;
            SkipSpace();
            if (!Eat(':')) return false;
            SkipSpace();
            if (!Value(depth)) return false;
            SkipSpace();
            if (Eat('}')) return true;
            if (!Eat(',')) return false;
        }
    }

    bool Array(int depth) {
        Eat('[');
        SkipSpace();
        if (Eat(']')) return true;
        for (;;) {
            SkipSpace();
            if (!Value(depth)) return false;
            SkipSpace();
            if (Eat(']')) return true;
            if (!Eat(',')) return false;
        }
    }

    std::string_view s_;
    size_t p_ = 0;
};

}  // namespace

size_t JsonPlainRun(const char* p, size_t n) {
    constexpr uint64_t kOnes = 0x0101010101010101ULL;
    constexpr uint64_t kHighs = 0x8080808080808080ULL;
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t v;
        std::memcpy(&v, p + i, 8);
        // A high bit marks a byte below 0x20 or equal to '"' or '\\' (bytes from 0x80 up are masked out).
        const uint64_t control = (v - kOnes * 0x20) & ~v;
        const uint64_t quote = ((v ^ (kOnes * '"')) - kOnes) & ~(v ^ (kOnes * '"'));
        const uint64_t backslash = ((v ^ (kOnes * '\\')) - kOnes) & ~(v ^ (kOnes * '\\'));
        if ((control | quote | backslash) & kHighs) break;
    }
    while (i < n && !kStringStops[static_cast<unsigned char>(p[i])]) ++i;
    return i;
}

JsonObjectView JsonReadObject(std::string_view text) {
    JsonObjectView object;
    Reader r(text);
    r.SkipSpace();
    if (!r.Eat('{')) return object;
    r.SkipSpace();
    if (!r.Eat('}')) {
        for (;;) {
            r.SkipSpace();
            std::string key;
            if (!r.Peek('"') || !r.String(&key)) return {};
            r.SkipSpace();
            if (!r.Eat(':')) return {};
            r.SkipSpace();
            const size_t start = r.pos();
            if (!r.Value(1)) return {};
            object.members.emplace_back(std::move(key), text.substr(start, r.pos() - start));
            r.SkipSpace();
            if (r.Eat('}')) break;
            if (!r.Eat(',')) return {};
        }
    }
    r.SkipSpace();
    if (!r.AtEnd()) return {};
    object.ok = true;
    return object;
}

std::string_view JsonObjectView::Raw(std::string_view key) const {
    for (const auto& [name, raw] : members) {
        if (name == key) return raw;
    }
    return {};
}

std::string_view JsonObjectView::Value(std::string_view key, std::string& storage) const {
    const std::string_view raw = Raw(key);
    if (raw.empty() || raw.front() != '"') return raw;
    const std::string_view inner = raw.substr(1, raw.size() - 2);
    if (inner.find('\\') == std::string_view::npos) return inner;
    storage.clear();
    Reader(raw).String(&storage);
    return storage;
}

std::string JsonObjectView::Field(std::string_view key) const {
    std::string storage;
    const std::string_view value = Value(key, storage);
    return value.data() == storage.data() ? storage : std::string(value);
}

std::string JsonParseField(const std::string& json, const std::string& key) { return JsonReadObject(json).Field(key); }

bool JsonFirstStringArg(const std::string& args, std::string& out) {
    Reader r(args);
    r.SkipSpace();
    if (!r.Eat('[')) return false;
    r.SkipSpace();
    std::string text;
    if (!r.Peek('"') || !r.String(&text)) return false;
    out = std::move(text);
    return true;
}
