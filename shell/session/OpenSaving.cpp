// SPDX-License-Identifier: Apache-2.0
#include "session/OpenSaving.hpp"

#include "store/ByteCode.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

const std::string EntryName = "saving";
constexpr std::uint8_t Version = 1;
enum class Kind : std::uint8_t { Runs = 0, Replacement = 1 };

std::optional<OpenSaving> decoded(std::span<const std::byte> bytes, std::uint64_t fileSize) {
    ByteReader reader(bytes);
    if (reader.byte() != Version) return std::nullopt;
    OpenSaving saving;
    if (Kind(reader.byte()) == Kind::Runs) {
        auto runs = FileRuns::decode(reader.bytes(reader.left()), fileSize);
        if (!runs) return std::nullopt;
        saving.runs = std::make_shared<const FileRuns>(std::move(*runs));
        return saving;
    }
    saving.replacement.size = reader.fixed<std::uint64_t>();
    saving.replacement.headChecksum = reader.fixed<std::uint64_t>();
    saving.begun = reader.byte() != 0;
    return saving;
}

} // namespace

bool OpenSaving::mayHaveMade(const SurveyIdentity& file) const {
    return !runs && file.size == replacement.size && file.headChecksum == replacement.headChecksum;
}

NamedBytes OpenSaving::entry() const {
    Bytes bytes;
    putFixed(bytes, Version);
    putFixed(bytes, runs ? Kind::Runs : Kind::Replacement);
    if (runs) {
        putBytes(bytes, runs->encode());
    } else {
        putFixed(bytes, replacement.size);
        putFixed(bytes, replacement.headChecksum);
        putFixed(bytes, std::uint8_t{begun});
    }
    return {EntryName, std::move(bytes)};
}

NamedBytes noOpenSaving() { return {EntryName, std::nullopt}; }

std::optional<OpenSaving> findOpenSaving(const EditStore& store) {
    const auto entry = store.entry(EntryName);
    if (!entry) return std::nullopt;
    std::optional<OpenSaving> saving;
    try {
        saving = decoded(*entry, store.identity().size);
    } catch (const ChangeError&) { // it ends too early
    }
    if (saving) return saving;
    throw Failure(fmt::format("{}: what it notes of a saving that was not completed cannot be understood; a later "
                              "version of this program may have made it.",
                              store.path()));
}

} // namespace corvane
