#pragma once

#include "frontend/Desktop.h"

#include <QDialog>

#include <memory>

namespace Ui {
class SavePanelDialog;
}

namespace talvek {

/// Asks for the name of a new folder and for the folder that is to hold it.
class SavePanelDialog : public QDialog
{
    Q_OBJECT

public:
    SavePanelDialog(const SavePanel& panel, QWidget* parent);
    ~SavePanelDialog() override;

    [[nodiscard]] SaveDestination destination() const;
    /// The folder that is to hold the new one; the user's documents until it is set.
    void setParentFolder(const QString& folder);

private:
    void chooseParentFolder();
    /// A name with a slash would lead elsewhere.
    [[nodiscard]] bool hasUsableName() const;

    std::unique_ptr<Ui::SavePanelDialog> m_ui;
    QString m_parentFolder;
};

} // namespace talvek
