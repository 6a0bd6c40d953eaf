#include "services/json_writer.h"

namespace services {

void putJsonString(Output& out, std::string_view utf8) {
    out << '"';
    std::size_t from = 0;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        if (c >= 0x20 && c != '"' && c != '\\') continue;
        out << utf8.substr(from, i - from);
        from = i + 1;
        switch (c) {
            case '"':
                out << "\\\"";
                break;
            case '\\':
                out << "\\\\";
                break;
            case '\n':
                out << "\\n";
                break;
            case '\r':
                out << "\\r";
                break;
            case '\t':
                out << "\\t";
                break;
            default:
                (out << "\\u").hex(c, 4);
        }
    }
    out << utf8.substr(from) << '"';
}

void JsonWriter::newLine() {
    if (layout_ == Layout::tight) return;
    out_ << '\n';
    out_.pad(2 * level_);
}

void JsonWriter::separate() {
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (!first_) out_ << ',';
    if (level_ > 0) newLine();
    first_ = false;
}

JsonWriter& JsonWriter::key(std::string_view name) {
    separate();
    putJsonString(out_, name);
    out_ << (layout_ == Layout::tight ? ":" : ": ");
    afterKey_ = true;
    return *this;
}

JsonWriter& JsonWriter::value(std::string_view text) {
    separate();
    putJsonString(out_, text);
    return *this;
}

JsonWriter& JsonWriter::begin(char bracket) {
    separate();
    out_ << bracket;
    ++level_;
    first_ = true;
    return *this;
}

JsonWriter& JsonWriter::end(char bracket) {
    --level_;
    if (!first_) newLine();
    out_ << bracket;
    first_ = false;
    return *this;
}

}  // namespace services
