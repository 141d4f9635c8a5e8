#include "persist/EventLine.h"

#include "persist/Numbers.h"

namespace {

// Reads comma-separated fields the way a stream's getline does: each field replaces the text, a field cut
// short by the end of the line ends the reading, and once the end is reached a further read keeps the
// text it had. So "a,b" reads a, b, b, b...; "a," reads a, "", "", ...
class FieldReader {
public:
    explicit FieldReader(const std::string& line) : line_(line) {}

    // Returns false when the end had been reached before this read.
    bool Next(std::string& field) {
        if (atEnd_) return false;
        field.clear();
        const size_t comma = line_.find(',', pos_);
        if (comma == std::string::npos) {
            field.assign(line_, pos_, std::string::npos);
            pos_ = line_.size();
            atEnd_ = true;
        } else {
            field.assign(line_, pos_, comma - pos_);
            pos_ = comma + 1;
        }
        return true;
    }

private:
    const std::string& line_;
    size_t pos_ = 0;
    bool atEnd_ = false;
};

}  // namespace

void AppendEventLine(std::string& out, const UnifiedEvent& e) {
    AppendInt(out, e.type);
    out += ',';
    AppendFloat(out, e.time);
    out += ',';
    AppendInt(out, e.x);
    out += ',';
    AppendInt(out, e.y);
    out += ',';
    AppendUInt(out, e.mouseFlags);
    out += ',';
    AppendInt(out, e.vk);
    out += ',';
    out += e.down ? '1' : '0';
    out += ',';
    AppendInt(out, e.scrollDelta);
}

bool ParseEventLine(const std::string& line, UnifiedEvent& e, MissingScrollDelta missing) {
    FieldReader reader(line);
    std::string field;
    UnifiedEvent r;
    int32_t down = 0;
    reader.Next(field);
    if (!ParseInt(field, r.type)) return false;
    reader.Next(field);
    if (!ParseDouble(field, r.time)) return false;
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
