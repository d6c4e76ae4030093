#include "recovery/output/EmbeddedFiles.h"

#include "platform/PathString.h"
#include "recovery/output/OutputFile.h"
#include "recovery/output/SafeName.h"

#include <algorithm>
#include <array>

namespace talvek::recovery::output {

namespace {

std::string lowered(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

/// Begins as a Photoshop document, or says that it is one.
bool isDocument(const EmbeddedFile& file, SourceFiles& sources)
{
    std::array<std::uint8_t, 4> signature{};
    const std::size_t held = sources.read(file.data.source, file.data.offset, signature);
    const bool begins = held == 4 && std::equal(signature.begin(), signature.end(), "8BPS");
    const std::string name = lowered(file.name);
    return begins || file.type == "8BPS" || file.type == "8BPB" || name.ends_with(".psd") ||
           name.ends_with(".psb");
}

std::string recoveredName(const std::string& name)
{
    return deletingPathExtension(name) + "_recovered.psd";
}

} // namespace

std::string embeddedFileName(const std::string& stored)
{
    const std::string name = safeFileName(stored, "embedded file");
    const std::string low = lowered(name);
    const bool isTaken =
        low == "report.json" || low.ends_with("_layers.psd") || low.ends_with("_layers.psb");
    return isTaken ? withBeforeExtension(name, "_") : name;
}

std::optional<std::vector<EmbeddedOutput>>
writeEmbeddedFiles(FileManager& files, const RecoveredDocument& document, SourceFiles& sources,
                   const std::string& folder, const RunControl& control,
                   const RecoverInTurn& recover)
{
    std::vector<EmbeddedOutput> outputs;
    if (document.embedded.empty()) {
        return outputs;
    }
    if (!files.createFolders(appendingPathComponent(folder, "Embedded"),
                             FileManager::kSharedFolder)) {
        return std::nullopt;
    }
    UniqueNames names;
    for (std::size_t i = 0; i < document.embedded.size() && !control.isStoppedAfterPause(); ++i) {
        const EmbeddedFile& embedded = document.embedded[i];
        EmbeddedOutput output;
        output.embedded = i;
        output.path = "Embedded/" + names.take(embeddedFileName(embedded.name));
        const std::string path = appendingPathComponent(folder, output.path);
        OutputFile file(files, path);
        const std::int64_t copied = copyRange(sources, embedded.data, file);
        if (copied < 0 || !file.close()) {
            return std::nullopt;
        }
        output.isShort = copied < embedded.data.length || embedded.state >= State::Partial;
        if (recover && embedded.state != State::Whole && isDocument(embedded, sources)) {
            const std::string name = names.take(recoveredName(lastPathComponent(path)));
            const std::string to = "Embedded/" + name;
            if (recover(path, appendingPathComponent(folder, to))) {
                output.recovered = to;
            }
        }
        outputs.push_back(std::move(output));
    }
    return outputs;
}

} // namespace talvek::recovery::output
