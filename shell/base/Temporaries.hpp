// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace corvane {

/// A file under a name that is not its own yet, in the folder where it will get that. The name says which machine and
/// process it belongs to. Destroyed, it removes the file, unless that was renamed or removed before.
class Temporary {
public:
    Temporary() = default;
    /// Chooses a name in the folder; makes no file.
    explicit Temporary(const std::string& folder);
    ~Temporary() { remove(); }
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;

    const std::string& path() const { return path_; } ///< empty: none

    /// The file has its own name now, or is gone.
    void release();
    void remove();

private:
    std::string path_;
    std::size_t place_ = 0; // in the list for removeTemporaries
};

/// Removes all temporary files that this process has. For a handler of a signal that ends it: calls nothing but what is
/// safe there.
void removeTemporaries() noexcept;

/// Removes what processes of this machine that ended without cleaning up left in the folder, and never what belongs to
/// another machine or to a process that lives.
void removeLeftTemporaries(const std::string& folder);

} // namespace corvane
