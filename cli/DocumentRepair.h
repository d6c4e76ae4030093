#pragma once

#include "cli/DocumentRun.h"
#include "cli/ProgressMeter.h"
#include "cli/RunListener.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvek {

/// The repair of one document into one folder, from the look at its header to the listing.
class DocumentRepair : public DocumentRun
{
public:
    /// @param title  how the document is called on the progress line
    DocumentRepair(const Surroundings& surroundings, std::string document, std::string title,
                   Destination destination);

private:
    ExitStatus check(std::int64_t& sizeBytes) override;
    ExitStatus runIn(WorkFolder& work, std::int64_t documentBytes) override;
    ExitStatus conclude(WorkFolder& work, const ProgressMeter& meter, const RunListener& listener);
    ExitStatus publishListed(WorkFolder& work, UserInfo completion);
    /// Warns of each listed file that could not be made. @return how many there are
    std::size_t warnOfMissing(const std::vector<FileRecord>& files);
    void report(const UserInfo& completion, std::size_t fileCount);
};

} // namespace talvek
