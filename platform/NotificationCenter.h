#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

namespace talvek {

/// One salvaged file, as it is listed, shown and saved. All four are strings of the listing's own
/// form: `fileNumber` counts from 1, `fileSize` is in whole KiB, `filePath` is the full path.
struct FileRecord
{
    std::string fileNumber;
    std::string fileName;
    std::string fileSize;
    std::string filePath;

    bool operator==(const FileRecord&) const = default;
};

/// What a notification carries under one key.
using UserInfoValue = std::variant<std::string, double, std::uint64_t, std::vector<FileRecord>>;
using UserInfo = std::map<std::string, UserInfoValue>;

/// What stands under `key`, if it is of that type; the type's empty value otherwise.
template <typename Value>
Value valueOf(const UserInfo& userInfo, const std::string& key)
{
    const auto entry = userInfo.find(key);
    const Value* value = entry == userInfo.end() ? nullptr : std::get_if<Value>(&entry->second);
    return value != nullptr ? *value : Value{};
}

/// Hands named notifications to whoever asked for them.
///
/// Posting is synchronous: every observer has been called, on the posting thread, when `post`
/// returns. Observers may be added and removed from any thread, also by an observer.
class NotificationCenter
{
public:
    using Observer = std::function<void(const UserInfo& userInfo)>;

    /// The one that the engine posts to.
    static NotificationCenter& defaultCenter();

    /// @return a token for `removeObserver`
    int addObserver(const std::string& name, Observer observer);
    /// A call that another thread has begun may still be under way when this returns.
    void removeObserver(int token);
    void post(const std::string& name, const UserInfo& userInfo);

private:
    struct Entry
    {
        std::string name;
        std::shared_ptr<const Observer> observer;
    };

    std::vector<std::shared_ptr<const Observer>> observersOf(const std::string& name);

    std::mutex m_mutex;
    std::map<int, Entry> m_entries;
    int m_lastToken = 0;
};

} // namespace talvek
