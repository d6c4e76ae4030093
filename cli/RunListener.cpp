#include "cli/RunListener.h"

#include "cli/Interruption.h"

namespace talvek {

RunListener::RunListener(ProgressMeter& meter, JsonLines* json)
    : m_meter(meter),
      m_json(json),
      m_token(NotificationCenter::defaultCenter().addObserver(
          "notif", [this](const UserInfo& info) { hear(info); }))
{}

RunListener::~RunListener()
{
    NotificationCenter::defaultCenter().removeObserver(m_token);
}

void RunListener::hear(const UserInfo& userInfo)
{
    // What an interrupted run posts on its way out tells of nothing that will be there.
    if (Interruption::isRequested()) {
        return;
    }
    if (userInfo.count("complete") > 0) {
        m_completion = userInfo;
        return;
    }
    m_aborted = m_aborted || userInfo.count("unrepair") > 0;
    const auto progress = userInfo.find("progress");
    if (progress != userInfo.end()) {
        m_meter.reported(std::get<double>(progress->second));
    }
    if (m_json != nullptr) {
        m_json->print(userInfo);
    }
}

} // namespace talvek
