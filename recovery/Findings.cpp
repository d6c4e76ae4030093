#include "recovery/Findings.h"

#include "recovery/output/Verdict.h"

#include <algorithm>
#include <sstream>

namespace talvek::recovery {

namespace {

void count(const Layer& layer, Findings& findings)
{
    if (layer.group == Group::End) {
        return;
    }
    (layer.isDivider() ? findings.groups : findings.layers) += 1;
    findings.masks += layer.mask && !layer.mask->bounds.isEmpty() ? 1U : 0U;
}

void name(const Layer& layer, Findings& findings)
{
    if (layer.group == Group::End || findings.names.size() >= Findings::kMostNames) {
        return;
    }
    findings.names.push_back(layer.name);
    std::replace(findings.names.back().begin(), findings.names.back().end(), '\n', ' ');
}

std::uint64_t positive(std::int32_t number)
{
    return static_cast<std::uint64_t>(std::max(number, 0));
}

} // namespace

Findings findingsOf(const RecoveredDocument& document, const std::vector<LayerRecord>& records)
{
    Findings findings;
    findings.width = positive(document.facts.width);
    findings.height = positive(document.facts.height);
    findings.embedded = document.embedded.size();
    if (!document.composite.channels.empty()) {
        findings.composite = output::wordFor(document.composite.state);
    }
    const auto each = [&](const auto& use) {
        if (document.layers.empty()) {
            std::for_each(records.rbegin(), records.rend(),
                          [&](const LayerRecord& record) { use(record.layer, findings); });
        } else {
            std::for_each(document.layers.rbegin(), document.layers.rend(),
                          [&](const Layer& layer) { use(layer, findings); });
        }
    };
    each(count);
    each(name);
    return findings;
}

UserInfo asUserInfo(const Findings& findings)
{
    std::string names;
    for (const std::string& one : findings.names) {
        names += one + '\n';
    }
    return {{"width", findings.width},         {"height", findings.height},
            {"layers", findings.layers},       {"groups", findings.groups},
            {"masks", findings.masks},         {"embedded", findings.embedded},
            {"composite", findings.composite}, {"names", names}};
}

Findings findingsFrom(const UserInfo& info)
{
    Findings findings;
    findings.width = valueOf<std::uint64_t>(info, "width");
    findings.height = valueOf<std::uint64_t>(info, "height");
    findings.layers = valueOf<std::uint64_t>(info, "layers");
    findings.groups = valueOf<std::uint64_t>(info, "groups");
    findings.masks = valueOf<std::uint64_t>(info, "masks");
    findings.embedded = valueOf<std::uint64_t>(info, "embedded");
    findings.composite = valueOf<std::string>(info, "composite");
    std::istringstream names(valueOf<std::string>(info, "names"));
    for (std::string line; std::getline(names, line);) {
        findings.names.push_back(line);
    }
    return findings;
}

} // namespace talvek::recovery
