#include "frontend/TabView.h"

#include <QVariant>

namespace talvek {

namespace {

constexpr const char* kIdentifier = "identifier";

} // namespace

QString TabView::selectedIdentifier() const
{
    const QWidget* page = currentWidget();
    return page != nullptr ? page->property(kIdentifier).toString() : QString();
}

void TabView::selectTabViewItemWithIdentifier(const QString& identifier)
{
    for (int index = 0; index < count(); ++index) {
        if (widget(index)->property(kIdentifier).toString() == identifier) {
            setCurrentIndex(index);
            return;
        }
    }
}

} // namespace talvek
