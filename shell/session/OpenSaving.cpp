// SPDX-License-Identifier: Apache-2.0
#include "session/OpenSaving.hpp"

#include "base/ByteCode.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

const std::string EntryName = "saving";
constexpr std::uint8_t Version = 1, VersionOfHeads = 2; // so that who does not know of them says so
enum class Kind : std::uint8_t { Runs = 0, Replacement = 1, Head = 2 };

SurveyIdentity readIdentity(ByteReader& reader) {
    SurveyIdentity identity;
    identity.size = reader.fixed<std::uint64_t>();
    identity.headChecksum = reader.fixed<std::uint64_t>();
    return identity;
}

void put(Bytes& bytes, const SurveyIdentity& identity) {
    putFixed(bytes, identity.size);
    putFixed(bytes, identity.headChecksum);
}

std::optional<OpenSaving> decoded(std::span<const std::byte> bytes, std::uint64_t fileSize) {
    ByteReader reader(bytes);
    const auto version = reader.byte();
    const Kind kind{reader.byte()};
    if (version != (kind == Kind::Head ? VersionOfHeads : Version) || kind > Kind::Head) return std::nullopt;
    OpenSaving saving;
    if (kind != Kind::Runs) saving.becomes = readIdentity(reader);
    if (kind != Kind::Replacement) {
        saving.runs = std::make_shared<const FileRuns>(FileRuns::decode(reader.bytes(reader.left()), fileSize));
        return saving;
    }
    saving.begun = reader.byte() != 0;
    return saving;
}

} // namespace

bool OpenSaving::mayHaveMade(const SurveyIdentity& file) const { return !runs && sameHead(file, *becomes); }

bool OpenSaving::isWritingTo(const LasFile& las, const SurveyIdentity& known) const {
    return runs && sameHead(identityOf(las, *runs), becomes.value_or(known));
}

NamedBytes OpenSaving::entry() const {
    Bytes bytes;
    const Kind kind = !runs ? Kind::Replacement : becomes ? Kind::Head : Kind::Runs;
    putFixed(bytes, kind == Kind::Head ? VersionOfHeads : Version);
    putFixed(bytes, kind);
    if (becomes) put(bytes, *becomes);
    if (runs)
        putBytes(bytes, runs->encoded());
    else
        putFixed(bytes, std::uint8_t{begun});
    return {EntryName, std::move(bytes)};
}

NamedBytes noOpenSaving() { return {EntryName, std::nullopt}; }

std::optional<OpenSaving> findOpenSaving(const EditStore& store) {
    const auto entry = store.entry(EntryName);
    if (!entry) return std::nullopt;
    std::optional<OpenSaving> saving;
    try {
        saving = decoded(*entry, store.identity().size);
    } catch (const BadBytes&) { // it is not what it should be
    }
    if (saving) return saving;
    throw Failure(fmt::format("{}: what it notes of a saving that was not completed cannot be understood; a later "
                              "version of this program may have made it.",
                              store.path()));
}

} // namespace corvane
