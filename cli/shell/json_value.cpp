// json_value.cpp - formats numbers and texts as JSON when a value is made; adds brackets
// and commas when it is written.
#include "cli/shell/json_value.h"

#include "formats/json_text.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace zeka::cli {

JsonValue::JsonValue(double value)
{
    if (!std::isfinite(value))
        return;
    text_ = fmt::format("{}", value);
    if (text_.find_first_not_of("-0123456789") == std::string::npos)
        text_ += ".0"; // readers distinguish 1.0 from the whole number 1
}

JsonValue::JsonValue(std::string_view value) : kind_(Kind::kText), text_(formats::JsonText(value)) {}

bool JsonValue::IsMember() const
{
    return kind_ == Kind::kArray && items_.size() == 2 && items_.front().kind_ == Kind::kText;
}

JsonValue::JsonValue(std::initializer_list<JsonValue> values)
    : kind_(std::ranges::all_of(values, &JsonValue::IsMember) ? Kind::kObject : Kind::kArray)
{
    if (kind_ == Kind::kArray) {
        items_ = values;
        return;
    }
    for (const JsonValue& member : values) {
        names_.push_back(member.items_.front().text_);
        items_.push_back(member.items_.back());
    }
}

JsonValue& JsonValue::operator[](std::string_view name)
{
    kind_ = Kind::kObject;
    const std::string text = formats::JsonText(name);
    const auto found = std::ranges::find(names_, text);
    if (found != names_.end())
        return items_[static_cast<std::size_t>(found - names_.begin())];
    names_.push_back(text);
    return items_.emplace_back();
}

void JsonValue::Extend(const JsonValue& other)
{
    names_.insert(names_.end(), other.names_.begin(), other.names_.end());
    items_.insert(items_.end(), other.items_.begin(), other.items_.end());
}

void JsonValue::Write(std::string& json, int indent, std::size_t column) const
{
    if (kind_ == Kind::kPlain || kind_ == Kind::kText) {
        json += text_;
        return;
    }
    const bool object = kind_ == Kind::kObject;
    const std::size_t inner = column + static_cast<std::size_t>(std::max(indent, 0));
    const auto new_line = [&](std::size_t blanks) {
        if (indent >= 0)
            json.append(1, '\n').append(blanks, ' ');
    };
    json += object ? '{' : '[';
    for (std::size_t i = 0; i < items_.size(); ++i) {
        json += i == 0 ? "" : ",";
        new_line(inner);
        if (object)
            json += names_[i] + (indent >= 0 ? ": " : ":");
        items_[i].Write(json, indent, inner);
    }
    if (!items_.empty())
        new_line(column);
    json += object ? '}' : ']';
}

std::string JsonValue::Text(int indent) const
{
    std::string json;
    Write(json, indent, 0);
    return json;
}

} // namespace zeka::cli
