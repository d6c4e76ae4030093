#include "recovery/DeepRecovery.h"

#include "recovery/Examination.h"
#include "recovery/LayeredDocumentName.h"
#include "recovery/LayeredDocumentWriter.h"
#include "recovery/PlaneReader.h"
#include "recovery/ReportWriter.h"

namespace talvek::recovery {

namespace {

/// Examining and writing share the progress bar.
constexpr double kExamined = 0.7;

} // namespace

DeepRecovery::DeepRecovery(FileManager& files) : m_files(files) {}

bool DeepRecovery::recoverFileAtPath_andSaveAtPath(const std::string& path,
                                                   const std::string& folder)
{
    m_lastPercent = -1;
    m_lastStatus.clear();
    if (!m_files.createFolders(folder, FileManager::kSharedFolder)) {
        return false;
    }
    ReadingFileHandle handle = m_files.openForReading(path);
    SourceBytes source(handle);
    Examination examination(source, m_control, [this](const std::string& status, double share) {
        post(status, kExamined * share);
    });
    examination.setListener([](const Findings& findings) {
        NotificationCenter::defaultCenter().post(kFoundNotification, asUserInfo(findings));
    });
    m_document = examination.run(path);
    if (m_amend && !m_control.stop()) {
        m_amend(m_document, m_control);
    }
    return !m_control.stop() && writeAll(path, folder) && !m_control.stop();
}

bool DeepRecovery::writeAll(const std::string& path, const std::string& folder)
{
    bool written = true;
    if (!m_document.layers.empty() || !m_document.composite.channels.empty()) {
        SourceFiles sources(m_files, m_document.sources);
        LayeredDocumentWriter writer(m_files, sources, m_document, m_control);
        const std::string name = layeredDocumentName(path, m_document.facts.version == 2);
        written = writer.write(folder + "/" + name, [this](double share) {
            post("Writing the layered document", kExamined + (1 - kExamined) * share);
        });
    }
    const bool reported = writeReport(m_files, m_document, folder + "/report.json");
    post("Done", 1);
    return written && reported;
}

void DeepRecovery::post(const std::string& status, double share)
{
    // A listener redraws at each post; whole steps are all that it can show.
    const int percent = static_cast<int>(share * 100);
    if (percent == m_lastPercent && status == m_lastStatus) {
        return;
    }
    m_lastPercent = percent;
    m_lastStatus = status;
    NotificationCenter::defaultCenter().post(kNotification,
                                             {{"status", status}, {"progress", share * 100}});
}

} // namespace talvek::recovery
