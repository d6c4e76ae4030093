#include "cli/NotificationJson.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <system_error>
#include <variant>
#include <vector>

namespace talvek {

namespace {

std::string jsonOfRecord(const FileRecord& record)
{
    return "{\"fileNumber\":" + jsonString(record.fileNumber) +
           ",\"fileName\":" + jsonString(record.fileName) +
           ",\"fileSize\":" + jsonString(record.fileSize) +
           ",\"filePath\":" + jsonString(record.filePath) + "}";
}

struct ValueText
{
    std::string operator()(const std::string& text) const { return jsonString(text); }
    std::string operator()(double number) const { return jsonNumber(number); }
    std::string operator()(std::uint64_t number) const { return std::to_string(number); }
    std::string operator()(const std::vector<FileRecord>& records) const
    {
        std::string list;
        for (const FileRecord& record : records) {
            list += (list.empty() ? "" : ",") + jsonOfRecord(record);
        }
        return "[" + list + "]";
    }
};

std::size_t placeOf(const std::string& key)
{
    static constexpr std::array<std::string_view, 15> kOrder = {
        "status",         "progress", "unrepair", "complete",  "Files",
        "totalFilesSize", "verdict",  "layers",   "whole",     "unproved",
        "partial",        "lost",     "gone",     "composite", "document"};
    return static_cast<std::size_t>(std::find(kOrder.begin(), kOrder.end(), key) - kOrder.begin());
}

} // namespace

std::string jsonString(std::string_view text)
{
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string jsonNumber(double number)
{
    if (std::isnan(number)) {
        return "\"nan\"";
    }
    if (std::isinf(number)) {
        return number > 0 ? "\"inf\"" : "\"-inf\"";
    }
    std::array<char, 32> text = {};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() ? std::string(text.data(), end) : "0";
}

std::string jsonOf(const UserInfo& userInfo)
{
    std::vector<const UserInfo::value_type*> entries;
    for (const auto& entry : userInfo) {
        entries.push_back(&entry);
    }
    std::stable_sort(entries.begin(), entries.end(), [](const auto* one, const auto* other) {
        return placeOf(one->first) < placeOf(other->first);
    });
    std::string object;
    for (const auto* entry : entries) {
        object += (object.empty() ? "" : ",") + jsonString(entry->first) + ":" +
                  std::visit(ValueText{}, entry->second);
    }
    return "{" + object + "}";
}

} // namespace talvek
