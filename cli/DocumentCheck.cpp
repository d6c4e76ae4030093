#include "cli/DocumentCheck.h"

#include "engine/Repair.h"
#include "platform/FileHandle.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>
#include <sys/stat.h>

namespace talvek {

namespace {

/// Offset, width in bytes and meaning of the header's fields are those of the PSD format.
using Header = std::array<std::uint8_t, 26>;

constexpr Purpose kRepair = {"repair", "repaired", "repair"};

constexpr const char* kHeaderDamaged = " The header is damaged, or the file is no PSD document; "
                                       "try another copy of it.";

unsigned numberAt(const Header& header, std::size_t offset)
{
    return (static_cast<unsigned>(header[offset]) << 8U) | header[offset + 1];
}

std::string onlyRegularFiles(const Purpose& purpose)
{
    return std::string("A ") + purpose.noun +
           " reads at many places of a document; save it to a file and name that file.";
}

std::string complaintAboutOpening(const std::string& path, const Purpose& purpose, int error)
{
    struct stat link = {};
    switch (error) {
    case ENOENT:
        return ::lstat(path.c_str(), &link) == 0 && S_ISLNK(link.st_mode)
                   ? "the link leads to a file that does not exist. Check where it leads."
                   : "no such file. Check the name and the folder.";
    case ENOTDIR:
        return "no such file: a part of the path is not a folder. Check the path.";
    case EACCES:
    case EPERM:
        return std::string("you have no permission to read it. Change its permissions, or ") +
               purpose.verb + " a copy.";
    case ENXIO:
        return "not a regular file. " + onlyRegularFiles(purpose);
    default:
        return std::string("it cannot be opened: ") + std::strerror(error) + ".";
    }
}

std::string complaintAboutKind(const struct stat& status, const Purpose& purpose)
{
    if (S_ISDIR(status.st_mode)) {
        return "it is a folder. Name a document inside it.";
    }
    if (S_ISFIFO(status.st_mode)) {
        return "it is a FIFO, not a regular file. " + onlyRegularFiles(purpose);
    }
    if (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode)) {
        return "it is a device, not a regular file. " + onlyRegularFiles(purpose);
    }
    return S_ISREG(status.st_mode) ? std::string()
                                   : "not a regular file. " + onlyRegularFiles(purpose);
}

std::string complaintAboutSize(std::int64_t size)
{
    if (size == 0) {
        return "the file is empty. There is nothing to salvage; try another copy of it.";
    }
    if (size < static_cast<std::int64_t>(Header().size())) {
        return "the file is too short: it has " + std::to_string(size) +
               (size == 1 ? " byte" : " bytes") +
               ", and a PSD document's header alone has 26. Try another copy of it.";
    }
    return {};
}

std::string complaintAboutVersion(unsigned version)
{
    if (version == 2) {
        return "it is a large document (version 2, usually named .psb). Only documents of version "
               "1 can be repaired.";
    }
    return version == 1 ? std::string()
                        : "the header states version " + std::to_string(version) +
                              ", which does not exist." + kHeaderDamaged;
}

bool isDepth(unsigned depth)
{
    return depth == 1 || depth == 8 || depth == 16 || depth == 32;
}

bool isColorMode(unsigned mode)
{
    return mode <= 4 || (mode >= 7 && mode <= 9);
}

std::string complaintAboutHeader(const Header& header)
{
    static constexpr std::string_view kSignature = "8BPS";
    if (!std::equal(kSignature.begin(), kSignature.end(), header.begin())) {
        return "it is not a PSD document: it does not begin with \"8BPS\". Check that this is the "
               "file you mean.";
    }
    std::string aboutVersion = complaintAboutVersion(numberAt(header, 4));
    if (!aboutVersion.empty()) {
        return aboutVersion;
    }
    if (std::any_of(header.begin() + 6, header.begin() + 12, [](auto byte) { return byte != 0; })) {
        return std::string("reserved bytes of the header are not zero.") + kHeaderDamaged;
    }
    if (!isDepth(numberAt(header, 22))) {
        return "the header states " + std::to_string(numberAt(header, 22)) +
               " bits per channel; there are 1, 8, 16 and 32." + kHeaderDamaged;
    }
    if (!isColorMode(numberAt(header, 24))) {
        return "the header states colour mode " + std::to_string(numberAt(header, 24)) +
               ", which does not exist." + kHeaderDamaged;
    }
    return {};
}

std::string complaintAboutContents(const std::string& path, const Descriptor& document)
{
    Header header = {};
    std::size_t held = 0;
    while (held < header.size()) {
        const ssize_t count = document.system().readAt(
            document.number(), std::span(header).subspan(held), static_cast<std::int64_t>(held));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return std::string("it cannot be read: ") + std::strerror(errno) + ".";
        }
        if (count == 0) {
            break;
        }
        held += static_cast<std::size_t>(count);
    }
    std::string complaint = complaintAboutHeader(header);
    if (!complaint.empty()) {
        return complaint;
    }
    // The engine has the last word, whatever the words above.
    return Repair().isFileValidAtPath(path)
               ? std::string()
               : "its header is not acceptable." + std::string(kHeaderDamaged);
}

/// Opens the file if it is one that will do, and says in `check` why not if it is none.
Descriptor openRegularFile(const std::string& path, const Purpose& purpose, DocumentCheck& check)
{
    if (path == "-") {
        check.complaint = std::string("standard input cannot be ") + purpose.participle + ". " +
                          onlyRegularFiles(purpose);
        return {};
    }
    SystemCalls& system = SystemCalls::real();
    Descriptor file(system, system.openForReading(path));
    if (!file.isOpen()) {
        check.complaint = complaintAboutOpening(path, purpose, errno);
        return {};
    }
    struct stat status = {};
    if (::fstat(file.number(), &status) != 0) {
        check.complaint = std::string("it cannot be looked at: ") + std::strerror(errno) + ".";
        return {};
    }
    check.complaint = complaintAboutKind(status, purpose);
    check.sizeBytes = static_cast<std::int64_t>(status.st_size);
    return file;
}

} // namespace

DocumentCheck checkFile(const std::string& path, const Purpose& purpose)
{
    DocumentCheck check;
    static_cast<void>(openRegularFile(path, purpose, check));
    return check;
}

DocumentCheck checkDocument(const std::string& path)
{
    DocumentCheck check;
    const Descriptor document = openRegularFile(path, kRepair, check);
    if (check.isAcceptable()) {
        check.complaint = complaintAboutSize(check.sizeBytes);
    }
    if (check.isAcceptable()) {
        check.complaint = complaintAboutContents(path, document);
    }
    return check;
}

} // namespace talvek
