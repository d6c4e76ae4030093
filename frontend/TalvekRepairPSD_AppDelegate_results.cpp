#include "frontend/PreviewView.h"
#include "frontend/ShownText.h"
#include "frontend/TalvekRepairPSD_AppDelegate.h"

#include <QFile>
#include <QItemSelectionModel>
#include <QTableView>
#include <QVariant>

// The salvaged files in their table, and one of them in the preview window.

namespace talvek {

namespace {

constexpr int kImageViewTag = 101;

PreviewView* imageViewIn(const QWidget* window)
{
    for (PreviewView* view : window->findChildren<PreviewView*>()) {
        if (view->property("tag").toInt() == kImageViewTag) {
            return view;
        }
    }
    return nullptr;
}

} // namespace

int TalvekRepairPSD_AppDelegate::numberOfRowsInTableView(const QTableView* /*table*/) const
{
    return m_arrayFiles ? static_cast<int>(m_arrayFiles->size()) : 0;
}

QVariant TalvekRepairPSD_AppDelegate::tableView_objectValueForTableColumn_row(
    const QTableView* table, const QString& column, int row) const
{
    if (row < 0 || row >= numberOfRowsInTableView(table)) {
        return {};
    }
    const FileRecord& record = (*m_arrayFiles)[static_cast<std::size_t>(row)];
    if (column == QLatin1String("1")) {
        return QString::fromStdString(record.fileNumber);
    }
    if (column == QLatin1String("2")) {
        return QFile::decodeName(record.fileName.c_str());
    }
    if (column == QLatin1String("3")) {
        return QString::fromStdString(record.fileSize);
    }
    return {};
}

void TalvekRepairPSD_AppDelegate::previewImage(QObject* /*sender*/)
{
    const QModelIndexList rows = tableView->selectionModel()->selectedRows();
    const int row = rows.isEmpty() ? -1 : rows.first().row();
    if (row >= 0 && row < numberOfRowsInTableView(tableView)) {
        previewWithDictionary((*m_arrayFiles)[static_cast<std::size_t>(row)]);
    }
}

void TalvekRepairPSD_AppDelegate::doubleClicked(QObject* /*sender*/)
{
    if (m_clickedRow >= 0 && m_clickedRow < numberOfRowsInTableView(tableView)) {
        previewWithDictionary((*m_arrayFiles)[static_cast<std::size_t>(m_clickedRow)]);
    }
}

void TalvekRepairPSD_AppDelegate::previewWithDictionary(const FileRecord& record)
{
    const QString name = QFile::decodeName(record.fileName.c_str());
    m_imageViewWindow->setWindowTitle(shownInTitle(name) + QStringLiteral("-preview"));
    m_imageViewWindow->show();
    m_imageViewWindow->raise();
    m_imageViewWindow->activateWindow();
    if (PreviewView* view = imageViewIn(m_imageViewWindow.get())) {
        view->showFile(QFile::decodeName(record.filePath.c_str()));
    }
}

} // namespace talvek
