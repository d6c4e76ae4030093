#pragma once

class QApplication;

/// The application's colours and shapes, light or dark as the desktop is. The environment variable
/// TALVEK_APPEARANCE, "light" or "dark", overrides what the desktop says.
namespace talvek::Theme {

/// Requires: called once, before the first window is made.
void apply(QApplication& application);

} // namespace talvek::Theme
