// json_value_test.cpp - what the command writes as JSON, read back by a library that is not ours.
#include "cli/shell/json_value.h"

#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>

namespace zeka::cli {
namespace {

using Read = nlohmann::ordered_json;

TEST(JsonValue, IsReadByOthersAsItWasMeant)
{
    JsonValue value{{"text", "a\"b\\\n\x01 \xC3\xA4"}, {"broken", "\xFF"}, {"none", nullptr}, {"yes", true}};
    value["levels"] = {1.5, -0.25};
    value["nested"]["whole"] = std::uint64_t{18446744073709551615u};
    value["empty"] = JsonValue::Array();
    value["list"] = JsonValue::Array();
    value["list"].Append({{"one", 1}});
    value.Extend({{"more", std::vector<int>{1, 2}}});
    for (const int indent : {-1, 2}) {
        const std::string text = value.Text(indent);
        EXPECT_EQ(Read::parse(text).dump(),
                  "{\"text\":\"a\\\"b\\\\\\n\\u0001 \xC3\xA4\",\"broken\":\"\xEF\xBF\xBD\","
                  "\"none\":null,\"yes\":true,\"levels\":[1.5,-0.25],"
                  "\"nested\":{\"whole\":18446744073709551615},\"empty\":[],"
                  "\"list\":[{\"one\":1}],\"more\":[1,2]}");
        EXPECT_EQ(Read::parse(text).dump(indent), text) << "laid out as that library does";
    }
}

TEST(JsonValue, KeepsEveryNumber)
{
    for (const double number :
         {0.0, -0.0, 1.0, 100000.0, 0.1, 1e-7, 123456789012345680.0, 5e-324, 1.7976931348623157e308})
        EXPECT_EQ(Read::parse(JsonValue(number).Text(-1)).get<double>(), number);
    EXPECT_TRUE(Read::parse(JsonValue(1.0).Text(-1)).is_number_float());
    EXPECT_EQ(JsonValue(std::numeric_limits<double>::infinity()).Text(-1), "null");
    EXPECT_EQ(JsonValue(std::numeric_limits<double>::quiet_NaN()).Text(-1), "null");
}

} // namespace
} // namespace zeka::cli
