#include "persist/EventLine.h"

#include "core/Limits.h"
#include "core/Numbers.h"

namespace {

// Reads comma-separated fields the way a stream's getline does: each field replaces the text, a field cut
// short by the end of the line ends the reading, and once the end is reached a further read keeps the
// text it had. So "a,b" reads a, b, b, b...; "a," reads a, "", "", ...
class FieldReader {
public:
    explicit FieldReader(std::string_view line) : line_(line) {}

    // Returns false when the end had been reached before this read.
    bool Next(std::string_view& field) {
        if (atEnd_) return false;
        const size_t comma = line_.find(',', pos_);
        if (comma == std::string_view::npos) {
            field = line_.substr(pos_);
            pos_ = line_.size();
            atEnd_ = true;
        } else {
            field = line_.substr(pos_, comma - pos_);
            pos_ = comma + 1;
        }
        return true;
    }

private:
    std::string_view line_;
    size_t pos_ = 0;
    bool atEnd_ = false;
};

}  // namespace

void AppendEventLine(std::string& out, const UnifiedEvent& e) {
    char buf[8 * 32];
    char* p = WriteInt(buf, e.type);
    *p++ = ',';
    p = WriteFloat(p, e.time);
    *p++ = ',';
    p = WriteInt(p, e.x);
    *p++ = ',';
    p = WriteInt(p, e.y);
    *p++ = ',';
    p = WriteUInt(p, e.mouseFlags);
    *p++ = ',';
    p = WriteInt(p, e.vk);
    *p++ = ',';
    *p++ = e.down ? '1' : '0';
    *p++ = ',';
    p = WriteInt(p, e.scrollDelta);
    out.append(buf, p);
}

bool ParseEventLine(std::string_view line, UnifiedEvent& e, MissingScrollDelta missing) {
    FieldReader reader(line);
    std::string_view field;
    UnifiedEvent r;
    int32_t down = 0;
    reader.Next(field);
    if (!ParseInt(field, r.type)) return false;
    reader.Next(field);
    if (!ParseDouble(field, r.time)) return false;
    if (!IsValidEventTime(r.time)) r.time = 0;  // "nan", "inf", a negative time: the field's default, the rest kept
    reader.Next(field);
    if (!ParseLong(field, r.x)) return false;
    reader.Next(field);
    if (!ParseLong(field, r.y)) return false;
    reader.Next(field);
    if (!ParseULong(field, r.mouseFlags)) return false;
    reader.Next(field);
    if (!ParseInt(field, r.vk)) return false;
    reader.Next(field);
    if (!ParseInt(field, down)) return false;
    r.down = down != 0;
    const bool hadEighth = reader.Next(field);
    if (!hadEighth && missing == MissingScrollDelta::Zero) {
        r.scrollDelta = 0;
    } else if (!ParseInt(field, r.scrollDelta)) {
        return false;
    }
    e = r;
    return true;
}
