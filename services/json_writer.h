// JSON as it comes: members and values in order, nothing kept. Texts are UTF-8.
#ifndef ORVKIT_SERVICES_JSON_WRITER_H
#define ORVKIT_SERVICES_JSON_WRITER_H

#include <concepts>
#include <string_view>

#include "services/output.h"

namespace services {

// A text in quotes, with escapes where it needs them.
void putJsonString(Output& out, std::string_view utf8);

class JsonWriter {
  public:
    enum class Layout {
        lines,  // each member and each value on a line of its own, two columns a level
        tight,  // no blanks at all
    };

    explicit JsonWriter(Output& out, Layout layout = Layout::lines) : out_(out), layout_(layout) {}

    // Nesting is the caller's to keep: each begin has its end.
    JsonWriter& beginObject() { return begin('{'); }
    JsonWriter& endObject() { return end('}'); }
    JsonWriter& beginArray() { return begin('['); }
    JsonWriter& endArray() { return end(']'); }

    // The name of the member whose value comes next.
    JsonWriter& key(std::string_view name);

    JsonWriter& value(std::string_view text);
    JsonWriter& value(const char* text) { return value(std::string_view(text)); }
    template <std::integral T>
    JsonWriter& value(T number) {
        separate();
        if constexpr (std::same_as<T, bool>) {
            out_ << (number ? "true" : "false");
        } else {
            out_ << number;
        }
        return *this;
    }

    template <typename T>
    JsonWriter& member(std::string_view name, const T& content) {
        return key(name).value(content);
    }

  private:
    JsonWriter& begin(char bracket);
    JsonWriter& end(char bracket);
    void separate();
    void newLine();

    Output& out_;
    Layout layout_;
    std::size_t level_ = 0;
    bool first_ = true;      // of its object or array
    bool afterKey_ = false;  // the value of a member comes next
};

}  // namespace services

#endif
