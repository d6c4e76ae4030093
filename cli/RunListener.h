#pragma once

#include "cli/JsonLines.h"
#include "cli/ProgressMeter.h"
#include "platform/NotificationCenter.h"

#include <optional>

namespace talvek {

/// Hears what the engine posts during one run, shows it, and remembers how the run ended.
///
/// A completion is held back until there is a folder to complete: `completion` gives it.
class RunListener
{
public:
    /// @param json  where the notifications are printed; null for nowhere
    RunListener(ProgressMeter& meter, JsonLines* json);
    ~RunListener();
    RunListener(const RunListener&) = delete;
    RunListener& operator=(const RunListener&) = delete;

    [[nodiscard]] bool hasAborted() const { return m_aborted; }
    [[nodiscard]] const std::optional<UserInfo>& completion() const { return m_completion; }

private:
    void hear(const UserInfo& userInfo);

    ProgressMeter& m_meter;
    JsonLines* m_json;
    bool m_aborted = false;
    std::optional<UserInfo> m_completion;
    int m_token;
};

} // namespace talvek
