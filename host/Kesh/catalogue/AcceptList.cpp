// SPDX-License-Identifier: Apache-2.0
#include "Kesh/catalogue/AcceptList.hpp"

namespace Kesh {

VAcceptList VAcceptList::refusal(std::string why) {
    VAcceptList list;
    list.refusal_ = std::move(why);
    return list;
}

double VAcceptList::weight() const {
    double weight = reasons_.empty() ? 0 : factor_;
    for (const VAcceptInfo& reason : reasons_) weight *= reason.weight;
    return weight;
}

VAcceptList operator&(VAcceptList list, VAcceptInfo reason) {
    list.reasons_.push_back(std::move(reason));
    return list;
}

VAcceptList operator*(VAcceptList list, double factor) {
    list.factor_ *= factor;
    return list;
}

} // namespace Kesh
