// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace Kesh {

/// One reason for which an input may be acceptable.
struct VAcceptInfo {
    std::string reason;
    double weight = 1;
};

/// Whether something is acceptable as input, and how well it suits: the product of the weights of its reasons. A list
/// without reasons is a refusal.
class VAcceptList {
public:
    static VAcceptList refusal(std::string why);

    explicit operator bool() const { return !reasons_.empty(); }
    double weight() const;
    const std::vector<VAcceptInfo>& reasons() const { return reasons_; }
    const std::string& refusalText() const { return refusal_; }

    /// Appends a reason.
    friend VAcceptList operator&(VAcceptList list, VAcceptInfo reason);

    /// Scales the weight.
    friend VAcceptList operator*(VAcceptList list, double factor);

private:
    std::vector<VAcceptInfo> reasons_;
    std::string refusal_;
    double factor_ = 1;
};

} // namespace Kesh
