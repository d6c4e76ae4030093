#include "frontend/DeepRecoveryController.h"
#include "frontend/HoverButton.h"
#include "frontend/MainWindow.h"
#include "frontend/PreviewView.h"
#include "frontend/ProgressBar.h"
#include "frontend/ResultsModel.h"
#include "frontend/ShownText.h"
#include "frontend/TabView.h"
#include "frontend/TalvekRepairPSD_AppDelegate.h"
#include "ui_AbortRepairWindow.h"
#include "ui_ImageViewWindow.h"
#include "ui_MainWindow.h"

#include <QAction>
#include <QCoreApplication>
#include <QFileInfo>
#include <QHeaderView>
#include <QLocale>

// The windows: loading them, wiring their controls, and showing the state in them.

namespace talvek {

namespace {

constexpr int kRowHeight = 40;
constexpr int kNumberColumnWidth = 90;
constexpr int kSizeColumnWidth = 150;
constexpr int kDropImageSize = 96;
constexpr int kFieldMargin = 2;
constexpr int kMillisecondsASecond = 1000;
constexpr int kMostTitleWidth = 640;

void setUpColumns(QTableView* table)
{
    table->verticalHeader()->hide();
    table->verticalHeader()->setDefaultSectionSize(kRowHeight);
    QHeaderView* header = table->horizontalHeader();
    header->setHighlightSections(false);
    header->setSectionsClickable(false);
    header->setStretchLastSection(false);
    header->setSectionResizeMode(1, QHeaderView::Stretch);
    header->resizeSection(0, kNumberColumnWidth);
    header->resizeSection(2, kSizeColumnWidth);
}

/// What a label shows may be a file's name, and a name is no markup, whatever it holds.
void showPlainTexts(const QWidget* window)
{
    for (QLabel* label : window->findChildren<QLabel*>()) {
        label->setTextFormat(Qt::PlainText);
    }
}

/// Long paths begin at their beginning, not where the cursor was left.
void showPath(QLineEdit* field)
{
    QObject::connect(field, &QLineEdit::textChanged, field, [field](const QString& text) {
        field->setToolTip(shownInToolTip(text));
        field->setCursorPosition(0);
    });
}

} // namespace

void TalvekRepairPSD_AppDelegate::connectZoom(const Ui::ImageViewWindow& layout)
{
    PreviewView* view = layout.imageView;
    connect(layout.fitButton, &QPushButton::clicked, view, &PreviewView::zoomToFit);
    connect(layout.actualSizeButton, &QPushButton::clicked, view, &PreviewView::showActualSize);
    const auto describe = [view, label = layout.pictureLabel] {
        const QLocale locale;
        label->setText(view->hasPicture() ? tr("%1 × %2 pixels, %3 %")
                                                .arg(locale.toString(view->pictureSize().width()),
                                                     locale.toString(view->pictureSize().height()),
                                                     locale.toString(100 * view->zoom(), 'f', 0))
                                          : QString());
    };
    connect(view, &PreviewView::zoomChanged, layout.pictureLabel, describe);
    connect(view, &PreviewView::pictureChanged, layout.pictureLabel, describe);
}

void TalvekRepairPSD_AppDelegate::loadLayout()
{
    loadWindows();
    Ui::MainWindow& ui = m_window->ui();
    tabView = ui.tabView;
    filePathTextField = ui.filePathTextField;
    repairProgressBar = ui.repairProgressBar;
    sourcePathTextField = ui.sourcePathTextField;
    notificationTextField = ui.notificationTextField;
    mainButton = ui.repairButton;
    tableView = ui.tableView;
    savingNotificationLabel = ui.savingNotificationLabel;
    cancelSave = ui.cancelSave;
    saveDestinationPath = ui.saveDestinationPath;
    saveProgressBar = ui.saveProgressBar;
    m_results = new ResultsModel({[this] { return numberOfRowsInTableView(tableView); },
                                  [this](const QString& column, int row) {
                                      return tableView_objectValueForTableColumn_row(tableView,
                                                                                     column, row);
                                  }},
                                 this);
    tableView->setModel(m_results);
    setUpColumns(tableView);
    loadDeepScreens();
    showPlainTexts(m_window.get());
    for (QLineEdit* field : {filePathTextField, sourcePathTextField, saveDestinationPath}) {
        showPath(field);
    }
    for (QLineEdit* field : {sourcePathTextField, saveDestinationPath}) {
        // Flush with the labels above: the field keeps two pixels to itself.
        field->setTextMargins(-kFieldMargin, 0, 0, 0);
    }
    showImages();
    connectControls();
    connectShortcuts();
    connectKeysOfViews();
    m_ticker.setInterval(kMillisecondsASecond);
    connect(&m_ticker, &QTimer::timeout, this, [this] { showRepairTime(); });
    tabView->selectTabViewItemWithIdentifier(QStringLiteral("0"));
}

void TalvekRepairPSD_AppDelegate::loadWindows()
{
    m_window = std::make_unique<MainWindow>();
    m_window->setDelegate({[this] { return windowShouldClose(m_window.get()); },
                           [this] { windowWillClose(); }, [this] { return acceptsDocument(); },
                           [this](const QStringList& paths) { openDocuments(paths); }});
    Ui::ImageViewWindow imageViewLayout;
    m_imageViewWindow = std::make_unique<QWidget>();
    imageViewLayout.setupUi(m_imageViewWindow.get());
    connectZoom(imageViewLayout);

    Ui::AbortRepairWindow abortLayout;
    m_abortRepairWindow = std::make_unique<QDialog>(m_window.get());
    abortLayout.setupUi(m_abortRepairWindow.get());
    m_abortRepairWindow->setWindowModality(Qt::ApplicationModal);
    connect(abortLayout.abortRepairOkButton, &QPushButton::clicked, this,
            [this, button = abortLayout.abortRepairOkButton] { abortRepairOk(button); });
    connect(abortLayout.abortRepairCancelButton, &QPushButton::clicked, this,
            [this, button = abortLayout.abortRepairCancelButton] { abortRepairCancel(button); });
    // Escape, and the window's own close button.
    connect(m_abortRepairWindow.get(), &QDialog::rejected, this,
            [this] { abortRepairCancel(m_abortRepairWindow.get()); });
}

void TalvekRepairPSD_AppDelegate::showImages()
{
    Ui::MainWindow& ui = m_window->ui();
    for (HoverButton* button : m_window->findChildren<HoverButton*>()) {
        button->setBundle(m_bundle);
        button->awakeFromNib();
    }
    const QIcon drop = m_bundle.imageNamed(QStringLiteral("drop_document"));
    ui.dropImage->setPixmap(
        drop.pixmap(QSize(kDropImageSize, kDropImageSize), m_window->devicePixelRatioF()));
}

void TalvekRepairPSD_AppDelegate::connectControls()
{
    using Action = void (TalvekRepairPSD_AppDelegate::*)(QObject*);
    const auto wire = [this](QPushButton* button, Action action) {
        connect(button, &QPushButton::clicked, this,
                [this, button, action] { (this->*action)(button); });
    };
    Ui::MainWindow& ui = m_window->ui();
    wire(ui.chooseButton, &TalvekRepairPSD_AppDelegate::selectCorruptFile);
    wire(ui.repairButton, &TalvekRepairPSD_AppDelegate::repairFile);
    wire(ui.deepButton, &TalvekRepairPSD_AppDelegate::deepRecoverFile);
    wire(ui.resultsDeepButton, &TalvekRepairPSD_AppDelegate::deepRecoverFile);
    wire(ui.abortButton, &TalvekRepairPSD_AppDelegate::abortRepair);
    wire(ui.previewButton, &TalvekRepairPSD_AppDelegate::previewImage);
    wire(ui.saveButton, &TalvekRepairPSD_AppDelegate::saveFile);
    wire(ui.cancelSave, &TalvekRepairPSD_AppDelegate::cancelSaving);
    wire(ui.homeButton, &TalvekRepairPSD_AppDelegate::askForHome);
    wire(ui.helpButton, &TalvekRepairPSD_AppDelegate::help);
    wire(ui.updateButton, &TalvekRepairPSD_AppDelegate::checkForUpdate);
    connect(tableView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { updateControls(); });
    connect(m_results, &QAbstractItemModel::modelReset, this, [this] { updateControls(); });
}

/// A shortcut works exactly when its control does.
void TalvekRepairPSD_AppDelegate::addShortcut(const QKeySequence& keys, QWidget* control,
                                              std::function<void()> action)
{
    auto* shortcut = new QAction(m_window.get());
    shortcut->setShortcut(keys);
    m_window->addAction(shortcut);
    connect(shortcut, &QAction::triggered, this, [control, action = std::move(action)] {
        if (control->isEnabled() && control->isVisible()) {
            action();
        }
    });
}

/// Presses the one of the buttons that can be seen. Screens share keys: two shortcuts of the same
/// keys would cancel each other.
void TalvekRepairPSD_AppDelegate::addClicks(const QKeySequence& keys,
                                            const QStringList& buttonNames)
{
    addShortcut(keys, m_window.get(), [this, buttonNames] {
        for (const QString& name : buttonNames) {
            auto* button = m_window->findChild<QPushButton*>(name);
            if (button != nullptr && button->isVisible() && button->isEnabled()) {
                button->click();
                return;
            }
        }
    });
}

void TalvekRepairPSD_AppDelegate::connectShortcuts()
{
    addClicks(QKeySequence::Open, {"chooseButton"});
    addClicks(QKeySequence(Qt::CTRL | Qt::Key_R), {"repairButton"});
    addClicks(QKeySequence(Qt::CTRL | Qt::Key_D), {"deepButton", "resultsDeepButton"});
    addClicks(QKeySequence::Save, {"saveButton", "saveLayeredButton"});
    addClicks(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S), {"saveEverythingButton"});
    addClicks(QKeySequence(Qt::CTRL | Qt::Key_E), {"savePicturesButton"});
    addClicks(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R), {"openReportButton"});
    addClicks(QKeySequence(Qt::ALT | Qt::Key_Left), {"deepBackButton"});
    addClicks(QKeySequence::HelpContents, {"helpButton"});
    addClicks(QKeySequence(Qt::CTRL | Qt::Key_U), {"updateButton"});
    addClicks(QKeySequence(Qt::CTRL | Qt::Key_Home), {"homeButton"});
    addClicks(QKeySequence(Qt::Key_Escape),
              {"cancelSave", "abortButton", "deepAbortButton", "deepCancelSaveButton"});
    addShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q), m_window.get(), [this] { m_window->close(); });
    addShortcut(QKeySequence::Close, m_window.get(), [this] { m_window->close(); });
}

/// Keys that mean something else where another control has the focus.
void TalvekRepairPSD_AppDelegate::connectKeysOfViews()
{
    auto* preview = new QAction(tableView);
    preview->setShortcuts(
        {QKeySequence(Qt::Key_Space), QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)});
    preview->setShortcutContext(Qt::WidgetShortcut);
    tableView->addAction(preview);
    connect(preview, &QAction::triggered, this, [this] { previewImage(tableView); });

    auto* close = new QAction(m_imageViewWindow.get());
    close->setShortcuts({QKeySequence(QKeySequence::Close), QKeySequence(Qt::Key_Escape)});
    m_imageViewWindow->addAction(close);
    connect(close, &QAction::triggered, m_imageViewWindow.get(), &QWidget::close);
}

void TalvekRepairPSD_AppDelegate::updateControls()
{
    Ui::MainWindow& ui = m_window->ui();
    ui.homeButton->setEnabled(!isBusy());
    ui.deepButton->setEnabled(!m_repairWhenDrained && !isBusy());
    ui.resultsDeepButton->setEnabled(!isBusy() && !m_corruptFilePath.isNull());
    ui.repairButton->setEnabled(!m_repairWhenDrained);
    ui.chooseButton->setEnabled(!m_repairWhenDrained);
    ui.waitingLabel->setText(m_repairWhenDrained ? tr("Waiting for the stopped repair to end…")
                                                 : QString());
    ui.abortButton->setEnabled(m_isRepairing);
    ui.previewButton->setEnabled(tableView->selectionModel()->hasSelection());
    ui.saveButton->setEnabled(!isBusy());
    ui.cancelSave->setEnabled(m_isSaving && !m_savingAbort);
    ui.updateButton->setEnabled(!m_isCheckingForUser);
    showRepairTime();
    ui.saveCountLabel->setText(tr("%1 of %2 files")
                                   .arg(QLocale().toString(qRound(saveProgressBar->doubleValue())),
                                        QLocale().toString(qRound(saveProgressBar->maxValue()))));
    showChoice();
    showResultsSummary();
}

/// The engine speaks only when it has found something; the time shows meanwhile that it works.
void TalvekRepairPSD_AppDelegate::showRepairTime()
{
    const qint64 running = m_repairTime.isValid() ? m_repairTime.elapsed() : 0;
    m_window->ui().repairPercentLabel->setText(
        shownProgress(100 * repairProgressBar->fractionShown(), m_millisecondsRepaired + running));
}

void TalvekRepairPSD_AppDelegate::showChoice()
{
    Ui::MainWindow& ui = m_window->ui();
    if (m_corruptFilePath.isNull()) {
        ui.dropTitleLabel->setText(tr("Drop a damaged Photoshop document here"));
        ui.dropHintLabel->setText(
            tr("PSD and PDD; the deep recovery takes any file. Your document is only "
               "read, never changed."));
        ui.chooseButton->setText(tr("&Choose document…"));
        return;
    }
    const QFileInfo chosen(m_corruptFilePath);
    const QFontMetrics metrics(ui.dropTitleLabel->font());
    ui.dropTitleLabel->setText(
        metrics.elidedText(shownName(chosen.fileName()), Qt::ElideMiddle, kMostTitleWidth));
    ui.dropHintLabel->setText(
        tr("%1, ready to be repaired. It is only read, never changed.")
            .arg(QLocale().formattedDataSize(chosen.size(), 1, QLocale::DataSizeIecFormat)));
    ui.chooseButton->setText(tr("&Choose another…"));
}

void TalvekRepairPSD_AppDelegate::showResultsSummary()
{
    Ui::MainWindow& ui = m_window->ui();
    const int files = numberOfRowsInTableView(tableView);
    const QString number = QLocale().toString(files);
    ui.resultsTitleLabel->setText(files == 0   ? tr("Nothing was found")
                                  : files == 1 ? tr("1 file salvaged")
                                               : tr("%1 files salvaged").arg(number));
    const QString size = QLocale().formattedDataSize(static_cast<qint64>(m_totalFilesSize), 1,
                                                     QLocale::DataSizeIecFormat);
    ui.resultsHintLabel->setText(
        files == 0 ? tr("The document holds nothing that the repair recognises. Deep recovery may "
                        "find more.")
                   : tr("%1 altogether. Look at each of them, then save them all.").arg(size));
}

} // namespace talvek
