#include "platform/NotificationCenter.h"

#include <utility>

namespace talvek {

NotificationCenter& NotificationCenter::defaultCenter()
{
    static NotificationCenter center;
    return center;
}

int NotificationCenter::addObserver(const std::string& name, Observer observer)
{
    const std::lock_guard lock(m_mutex);
    const int token = ++m_lastToken;
    m_entries[token] = {name, std::make_shared<const Observer>(std::move(observer))};
    return token;
}

void NotificationCenter::removeObserver(int token)
{
    const std::lock_guard lock(m_mutex);
    m_entries.erase(token);
}

void NotificationCenter::post(const std::string& name, const UserInfo& userInfo)
{
    // Called without the lock, so that an observer may post, add or remove.
    for (const auto& observer : observersOf(name)) {
        (*observer)(userInfo);
    }
}

std::vector<std::shared_ptr<const NotificationCenter::Observer>>
NotificationCenter::observersOf(const std::string& name)
{
    const std::lock_guard lock(m_mutex);
    std::vector<std::shared_ptr<const Observer>> found;
    for (const auto& [token, entry] : m_entries) {
        if (entry.name == name) {
            found.push_back(entry.observer);
        }
    }
    return found;
}

} // namespace talvek
