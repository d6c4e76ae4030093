#pragma once

#include <gtest/gtest.h>

#include <sys/types.h>
#include <unistd.h>

namespace talvek::test {

/// While it lives, a superuser asks for permissions as an ordinary user would: access(2) goes by
/// the real user, everything else by the effective one. Without it no folder could be one that may
/// not be written where tests run as root.
class OrdinaryUser
{
public:
    OrdinaryUser() { become(kNobody); }
    ~OrdinaryUser() { become(0); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    static constexpr uid_t kNobody = 65534;

    void become(uid_t user) const
    {
        if (m_isSuperuser) {
            EXPECT_EQ(::setreuid(user, 0), 0);
        }
    }

    const bool m_isSuperuser = ::geteuid() == 0;
};

} // namespace talvek::test
