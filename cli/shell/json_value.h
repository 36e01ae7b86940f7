// json_value.h - a result that is built up and written as JSON. Members keep their order of insertion.
//
//     JsonValue result{{"name", "ecg"}, {"levels", {1.5, -0.25}}};
//     result["seconds"] = 10.0;
//
// The command writes JSON and never reads any, so this is all that it needs; it compiles in a fraction of the
// time of a library that does both.
#pragma once

#include <concepts>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace zeka::cli {

class JsonValue {
public:
    JsonValue() = default; // null
    JsonValue(std::nullptr_t) {}
    JsonValue(bool value) : text_(value ? "true" : "false") {}
    /// The shortest digits that give the same number; null for a number that is not finite.
    JsonValue(double value);
    JsonValue(std::integral auto value) : text_(std::to_string(value)) {}
    JsonValue(const char* value) : JsonValue(std::string_view(value)) {}
    JsonValue(const std::string& value) : JsonValue(std::string_view(value)) {}
    JsonValue(std::string_view value);
    template <class Value> JsonValue(const std::vector<Value>& values) : kind_(Kind::kArray)
    {
        items_.assign(values.begin(), values.end());
    }
    /// An object when every element is a pair that begins with a text, else an array.
    JsonValue(std::initializer_list<JsonValue> values);

    static JsonValue Array() { return JsonValue(Kind::kArray); }
    static JsonValue Object() { return JsonValue(Kind::kObject); }

    /// The member of that name; added as null when it is missing. A null value becomes an object.
    JsonValue& operator[](std::string_view name);
    void Append(JsonValue value) { items_.push_back(std::move(value)); }
    /// Appends the members of another object.
    void Extend(const JsonValue& other);

    /// The text, indented by so many blanks per level; negative: on one line.
    [[nodiscard]] std::string Text(int indent) const;

private:
    enum class Kind { kPlain, kText, kArray, kObject };
    explicit JsonValue(Kind kind) : kind_(kind) {}
    [[nodiscard]] bool IsMember() const;
    void Write(std::string& json, int indent, std::size_t column) const;

    Kind kind_ = Kind::kPlain;
    std::string text_ = "null";      // the JSON text, unless this is an array or an object
    std::vector<std::string> names_; // of an object's members, as JSON texts
    std::vector<JsonValue> items_;
};

} // namespace zeka::cli
