// Stands in for DocumentRecovery.cpp where the recovery's libraries are missing.

#include "cli/DocumentRecovery.h"

namespace talvek {

bool hasDeepRecovery()
{
    return false;
}

std::unique_ptr<DocumentRun> documentRecovery(const DocumentRun::Surroundings& /*surroundings*/,
                                              const std::string& /*document*/,
                                              const std::string& /*reference*/,
                                              const std::string& /*title*/,
                                              const Destination& /*destination*/)
{
    return nullptr;
}

} // namespace talvek
