#include "platform/NotificationCenter.h"

#include <gtest/gtest.h>

#include <thread>

namespace talvek::test {

TEST(NotificationCenter, ObserversHearTheirOwnNameOnly)
{
    NotificationCenter center;
    int heard = 0;
    center.addObserver("notif", [&heard](const UserInfo&) { ++heard; });
    center.addObserver("other", [&heard](const UserInfo&) { heard += 100; });
    center.post("notif", {});
    center.post("unknown", {});
    EXPECT_EQ(heard, 1);
}

TEST(NotificationCenter, ObserversAreCalledOnThePostingThreadBeforePostReturns)
{
    NotificationCenter center;
    std::thread::id caller;
    center.addObserver("notif",
                       [&caller](const UserInfo&) { caller = std::this_thread::get_id(); });
    center.post("notif", {});
    EXPECT_EQ(caller, std::this_thread::get_id());
}

TEST(NotificationCenter, ARemovedObserverHearsNothingMore)
{
    NotificationCenter center;
    int heard = 0;
    const int token = center.addObserver("notif", [&heard](const UserInfo&) { ++heard; });
    center.removeObserver(token);
    center.removeObserver(token);
    center.post("notif", {});
    EXPECT_EQ(heard, 0);
}

TEST(NotificationCenter, AnObserverMayRemoveItselfAndAddAnother)
{
    NotificationCenter center;
    int heard = 0;
    int token = 0;
    token = center.addObserver("notif", [&](const UserInfo&) {
        ++heard;
        center.removeObserver(token);
        center.addObserver("notif", [&heard](const UserInfo&) { heard += 10; });
    });
    center.post("notif", {});
    center.post("notif", {});
    EXPECT_EQ(heard, 11);
}

TEST(NotificationCenter, ThreadsMayComeAndGoWhileOthersPost)
{
    NotificationCenter center;
    int heard = 0;
    center.addObserver("notif", [&heard](const UserInfo&) { ++heard; });
    std::thread coming([&center] {
        for (int i = 0; i < 2000; ++i) {
            center.removeObserver(center.addObserver("notif", [](const UserInfo&) {}));
        }
    });
    for (int i = 0; i < 2000; ++i) {
        center.post("notif", {{"progress", 1.0}});
    }
    coming.join();
    EXPECT_EQ(heard, 2000);
}

} // namespace talvek::test
