#include "frontend/QtDesktop.h"

#include "frontend/SavePanelDialog.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QNetworkInformation>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>

namespace talvek {

namespace {

constexpr int kAlertImageSize = 64;
constexpr int kAlertMargin = 26;

QString tr(const char* text)
{
    return QCoreApplication::translate("QtDesktop", text);
}

/// "Photoshop documents (*.psd *.PSD ...)": some file systems and panels mind the case.
QString filterOf(const QStringList& types)
{
    if (types.isEmpty()) {
        return tr("All files") + QStringLiteral(" (*)");
    }
    QStringList patterns;
    for (const QString& type : types) {
        patterns << QStringLiteral("*.") + type << QStringLiteral("*.") + type.toUpper();
    }
    return tr("Photoshop documents") + QStringLiteral(" (") + patterns.join(QLatin1Char(' ')) +
           QLatin1Char(')');
}

/// The texts can hold file names, which are no markup.
void showPlainTexts(const QMessageBox& box)
{
    for (QLabel* label : box.findChildren<QLabel*>()) {
        label->setTextFormat(Qt::PlainText);
    }
}

/// Room to breathe; the box's own margins are those of a tool window.
void spaceOut(QMessageBox& box)
{
    if (auto* grid = qobject_cast<QGridLayout*>(box.layout())) {
        grid->setContentsMargins(kAlertMargin, kAlertMargin, kAlertMargin, kAlertMargin);
        grid->setVerticalSpacing(kAlertMargin / 2);
        grid->setHorizontalSpacing(kAlertMargin / 2);
    }
    if (auto* buttons = box.findChild<QDialogButtonBox*>()) {
        buttons->layout()->setSpacing(kAlertMargin / 2);
    }
}

/// Shows the dialog as a sheet of its window; it deletes itself when it has ended.
void beginSheet(QDialog* dialog)
{
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

} // namespace

void QtDesktop::beginOpenPanel(QWidget* window, const OpenPanel& panel,
                               std::function<void(std::optional<QString>)> ended)
{
    auto* dialog = new QFileDialog(window, tr("Choose a Damaged Document"));
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setNameFilter(filterOf(panel.allowedFileTypes));
    dialog->setDirectory(m_openFolder);
    QObject::connect(dialog, &QDialog::finished, window,
                     [this, dialog, ended = std::move(ended)](int result) {
                         const QStringList files = dialog->selectedFiles();
                         m_openFolder = dialog->directory().absolutePath();
                         const bool chosen = result == QDialog::Accepted && !files.isEmpty();
                         ended(chosen ? std::optional(files.first()) : std::nullopt);
                     });
    beginSheet(dialog);
}

void QtDesktop::beginSavePanel(QWidget* window, const SavePanel& panel,
                               std::function<void(std::optional<SaveDestination>)> ended)
{
    auto* dialog = new SavePanelDialog(panel, window);
    QObject::connect(dialog, &QDialog::finished, window,
                     [dialog, ended = std::move(ended)](int result) {
                         ended(result == QDialog::Accepted ? std::optional(dialog->destination())
                                                           : std::nullopt);
                     });
    beginSheet(dialog);
}

AlertAnswer QtDesktop::runAlertPanel(QWidget* window, const AlertPanel& alert)
{
    QMessageBox box(window);
    box.setWindowModality(Qt::ApplicationModal);
    box.setIconPixmap(m_bundle.imageNamed(QStringLiteral("info_64")).pixmap(kAlertImageSize));
    box.setText(alert.title);
    box.setInformativeText(alert.message);
    auto* defaultButton = box.addButton(alert.defaultButton, QMessageBox::AcceptRole);
    box.setDefaultButton(defaultButton);
    box.setEscapeButton(defaultButton);
    QAbstractButton* alternateButton = nullptr;
    if (!alert.alternateButton.isEmpty()) {
        alternateButton = box.addButton(alert.alternateButton, QMessageBox::RejectRole);
        if (alert.escapeAnswer == AlertAnswer::Alternate) {
            box.setEscapeButton(alternateButton);
        }
    }
    QAbstractButton* otherButton = nullptr;
    if (!alert.otherButton.isEmpty()) {
        otherButton = box.addButton(alert.otherButton, QMessageBox::ActionRole);
    }
    showPlainTexts(box);
    spaceOut(box);
    box.exec();
    if (box.clickedButton() == alternateButton && alternateButton != nullptr) {
        return AlertAnswer::Alternate;
    }
    const bool isOther = otherButton != nullptr && box.clickedButton() == otherButton;
    return isOther ? AlertAnswer::Other : AlertAnswer::Default;
}

void QtDesktop::beginAlertSheet(QWidget* window, const AlertSheet& alert,
                                std::function<void()> dismissed)
{
    auto* box = new QMessageBox(window);
    box->setIconPixmap(m_bundle.imageNamed(alert.iconName).pixmap(kAlertImageSize));
    box->setText(alert.messageText);
    box->setInformativeText(alert.informativeText);
    box->addButton(alert.button, QMessageBox::AcceptRole);
    showPlainTexts(*box);
    spaceOut(*box);
    QObject::connect(box, &QDialog::finished, window,
                     [dismissed = std::move(dismissed)] { dismissed(); });
    beginSheet(box);
}

void QtDesktop::openURL(const QUrl& url)
{
    QDesktopServices::openUrl(url);
}

void QtDesktop::launchApplication(const QString& path)
{
#if defined(Q_OS_MACOS)
    QProcess::startDetached(QStringLiteral("/usr/bin/open"), {path});
#else
    const QString executable =
        Bundle(path).infoString("CFBundleExecutable").value_or(QFileInfo(path).completeBaseName());
    const QString program = path + QStringLiteral("/Contents/MacOS/") + executable;
    if (QFileInfo(program).isExecutable()) {
        QProcess::startDetached(program, {});
    }
#endif
}

bool QtDesktop::isConnectedToInternet()
{
    const bool known =
        QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability);
    if (!known) {
        return true;
    }
    const auto reachability = QNetworkInformation::instance()->reachability();
    return reachability == QNetworkInformation::Reachability::Online ||
           reachability == QNetworkInformation::Reachability::Unknown;
}

} // namespace talvek
