#include "frontend/SavePanelDialog.h"

#include "frontend/ShownText.h"
#include "ui_SavePanelDialog.h"

#include <QDir>
#include <QFileDialog>
#include <QPushButton>
#include <QStandardPaths>

namespace talvek {

namespace {

QString usualFolder()
{
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return QDir(documents).exists() ? documents : QDir::homePath();
}

} // namespace

SavePanelDialog::SavePanelDialog(const SavePanel& panel, QWidget* parent)
    : QDialog(parent), m_ui(std::make_unique<Ui::SavePanelDialog>())
{
    m_ui->setupUi(this);
    QPushButton* save = m_ui->saveButton;
    save->setText(panel.prompt);
    connect(m_ui->nameField, &QLineEdit::textChanged, this,
            [this, save] { save->setEnabled(hasUsableName()); });
    connect(m_ui->folderButton, &QPushButton::clicked, this, [this] { chooseParentFolder(); });
    connect(save, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_ui->cancelButton, &QPushButton::clicked, this, &QDialog::reject);
    if (!panel.heading.isEmpty()) {
        m_ui->savePanelTitleLabel->setText(panel.heading);
        m_ui->nameField->setAccessibleName(panel.nameDescription);
    }
    m_ui->nameField->setText(panel.nameField);
    m_ui->nameField->selectAll();
    setParentFolder(usualFolder());
}

SavePanelDialog::~SavePanelDialog() = default;

SaveDestination SavePanelDialog::destination() const
{
    return {m_parentFolder, m_ui->nameField->text()};
}

void SavePanelDialog::chooseParentFolder()
{
    const QString chosen = QFileDialog::getExistingDirectory(this, tr("Save In"), m_parentFolder);
    if (!chosen.isEmpty()) {
        setParentFolder(chosen);
    }
}

void SavePanelDialog::setParentFolder(const QString& folder)
{
    m_parentFolder = folder;
    m_ui->folderField->setText(QDir::toNativeSeparators(m_parentFolder));
    m_ui->folderField->setToolTip(shownInToolTip(m_parentFolder));
}

bool SavePanelDialog::hasUsableName() const
{
    const QString name = m_ui->nameField->text();
    return !name.trimmed().isEmpty() && !name.contains(QLatin1Char('/')) &&
           name != QLatin1String(".") && name != QLatin1String("..");
}

} // namespace talvek
