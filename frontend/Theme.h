#pragma once

class QApplication;

/// The application's colours and shapes, light or dark as the desktop is. The environment variable
/// TALVEK_APPEARANCE, "light" or "dark", overrides what the desktop says.
namespace talvek::Theme {

/// From then on the application also follows the desktop when that turns light or dark.
/// Requires: called once, before the first window is made. Main thread.
void apply(QApplication& application);

} // namespace talvek::Theme
