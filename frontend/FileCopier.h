#pragma once

#include "platform/FileManager.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace talvek {

/// What is copied, and to where.
struct FileCopy
{
    std::string source;      ///< absolute path
    std::string destination; ///< absolute path
};

/// What came of copying.
struct CopyResult
{
    bool wasCancelled = false;
    /// Last components of the destinations that are not whole, or did not get their names.
    std::vector<std::string> incompleteFiles = {};
};

/// How far copying has come.
struct CopyProgress
{
    std::int32_t files = 0; ///< done with, whole or not
    std::int64_t bytes = 0; ///< of all files together
};

/// Copies files so that nothing is lost on the way.
///
/// Until all are whole, the copies have names like ".NAME.part1" that nothing had, so that a
/// copying that is cancelled takes nothing away that was there before. A copy that is not whole
/// never takes the place of a file that is there; where there is none, it is better than nothing.
/// One thread, any.
class FileCopier
{
public:
    using Progress = std::function<void(const CopyProgress&)>;

    /// `system` and `cancel` outlive the object; the flag may be set from any thread.
    FileCopier(SystemCalls& system, const std::atomic<bool>& cancel)
        : m_files(system), m_cancel(cancel)
    {}

    /// Copies all files, makes the folders that they need, and gives the copies their names in the
    /// end.
    /// @param newFolder  is deleted whole when the copying is cancelled; empty: there is none, and
    ///                   only what was copied goes
    CopyResult copyAll(const std::vector<FileCopy>& files, const std::string& newFolder,
                       const Progress& progress);

    /// Copies one file to exactly that path, in place of one that is there.
    /// @return true if the copy is whole; false also when the copying was cancelled
    bool copyFile(const FileCopy& file);

    /// How many reads a file of that many bytes takes.
    static std::int64_t chunksOf(std::int64_t bytes);

private:
    bool copyPart(const FileCopy& file, std::string& part);
    bool copyChunks(ReadingFileHandle& input, std::int64_t size, WritingFileHandle& output);
    void makeFolderOf(const std::string& destination);
    void giveName(const FileCopy& part, bool isWhole, CopyResult& result);
    void discard(const std::string& newFolder);
    void tell() const;

    FileManager m_files;
    const std::atomic<bool>& m_cancel;
    Progress m_progress;
    CopyProgress m_done;
    std::vector<std::string> m_madeFolders; ///< the innermost first
    std::vector<std::string> m_parts;       ///< of each file; empty where there is none
};

} // namespace talvek
