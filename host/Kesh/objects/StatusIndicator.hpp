// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/ValuePool.hpp"

#include <functional>
#include <map>
#include <string>

namespace Kesh {

enum class StatusGrade { Info, Warning, Error };

struct Status {
    StatusGrade grade = StatusGrade::Info;
    std::string text;
};

/// The status line of an object, one per value pool.
class StatusIndicator {
public:
    virtual ~StatusIndicator() = default;

    void setStatusInfo(const ValuePool& pool, const std::string& text) { set(pool, {StatusGrade::Info, text}); }
    void setStatusWarning(const ValuePool& pool, const std::string& text) { set(pool, {StatusGrade::Warning, text}); }
    void setStatusError(const ValuePool& pool, const std::string& text) { set(pool, {StatusGrade::Error, text}); }
    void clearStatus(const ValuePool& pool) { statuses_.erase(pool.identifier()); }

    /// An info with an empty text when nothing was said.
    Status status(const ValuePool& pool) const;

    /// Who else hears of every status, with the name of the object; at first nobody. Hears one at a time, of whatever
    /// thread, and sets none itself.
    using Sink = std::function<void(const std::string& object, const Status& status)>;
    static void setSink(Sink sink);

protected:
    virtual const std::string& statusName() const = 0;

private:
    void set(const ValuePool& pool, Status status);
    std::map<std::uint64_t, Status> statuses_; // by pool
};

} // namespace Kesh
