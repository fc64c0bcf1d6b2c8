// SPDX-License-Identifier: Apache-2.0
#include "base/Temporaries.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <string_view>
#include <sys/file.h>
#include <unistd.h>

namespace corvane {
namespace {

/// Paths that a handler may read at any moment: a place is filled before it counts as used.
struct Place {
    enum State { Free, Filling, Used };
    std::atomic<State> state = Free;
    std::array<char, PATH_MAX> path{};
};
static_assert(std::atomic<Place::State>::is_always_lock_free);
constexpr std::size_t Places = 32;
std::array<Place, Places> places; // a handler can be given nothing, so this one thing is global

/// The place that was taken; Places when all are in use or the path is too long.
std::size_t enlist(const std::string& path) {
    for (std::size_t i = 0; path.size() < PATH_MAX && i < Places; ++i) {
        Place::State expected = Place::Free;
        if (!places[i].state.compare_exchange_strong(expected, Place::Filling)) continue;
        std::ranges::copy(path, places[i].path.begin());
        places[i].path[path.size()] = '\0';
        places[i].state = Place::Used;
        return i;
    }
    return Places;
}

/// ".corvane.HOST."; the process and a number follow.
std::string prefix() {
    std::array<char, 256> name{};
    if (gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') return ".corvane.localhost.";
    std::string host(name.data());
    std::ranges::replace(host, '/', '_');
    return fmt::format(".corvane.{}.", host);
}

/// Whether a file of this process has that name; no two in any folder do.
bool isEnlisted(const std::string& name) {
    return std::ranges::any_of(places, [&](const Place& place) {
        return place.state == Place::Used && std::string_view(place.path.data()).ends_with("/" + name);
    });
}

/// Whether a file is of a process of this machine that does not live any more, though its number may be in use again,
/// by ourselves even. The number alone would not do: a process of another container has numbers of its own, but it
/// holds a lock on its file.
bool isLeft(const std::filesystem::path& path, const std::string& ours) {
    const std::string name = path.filename();
    if (!name.starts_with(ours)) return false;
    pid_t process = 0;
    const char* end = name.data() + name.size();
    const auto [rest, error] = std::from_chars(name.data() + ours.size(), end, process);
    if (error != std::errc() || process <= 0 || rest == end || *rest != '.') return false;
    if (process == getpid() ? isEnlisted(name) : kill(process, 0) == 0 || errno != ESRCH) return false;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0) return false;
    const bool unlocked = flock(file, LOCK_EX | LOCK_NB) == 0;
    close(file);
    return unlocked;
}

} // namespace

Temporary::Temporary(const std::string& folder) {
    static std::atomic<unsigned> number{0};
    path_ = fmt::format("{}/{}{}.{}", folder, prefix(), getpid(), number++);
    place_ = enlist(path_);
}

void Temporary::release() {
    if (!path_.empty() && place_ < Places) places[place_].state = Place::Free;
    path_.clear();
}

void Temporary::remove() {
    if (path_.empty()) return;
    unlink(path_.c_str());
    release();
}

void removeTemporaries() noexcept {
    for (const Place& place : places)
        if (place.state == Place::Used) unlink(place.path.data());
}

void removeLeftTemporaries(const std::string& folder) {
    const std::string ours = prefix();
    std::error_code error; // what cannot be listed has nothing to be removed
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        if (isLeft(entry->path(), ours)) unlink(entry->path().c_str());
}

} // namespace corvane
