// SPDX-License-Identifier: Apache-2.0
#include "picture/DrawOrder.hpp"

#include <algorithm>
#include <bit>
#include <list>
#include <mutex>
#include <stdexcept>

namespace corvane {
namespace {

using Order = std::vector<std::uint32_t>;

/// Whether the halves of a stretch are visited the other way round. The stretches are the nodes of a binary tree, the
/// whole being node 1.
bool isTurned(std::uint32_t node) {
    std::uint32_t bits = node * 0x9E3779B9U + 0x7F4A7C15U;
    bits = (bits ^ bits >> 16) * 0x85EBCA6BU;
    bits = (bits ^ bits >> 13) * 0xC2B2AE35U;
    return (bits ^ bits >> 16) >> 31 != 0;
}

/// Of a power of two. Every second number is in the other half, of those every second in the other quarter, and so on;
/// which half comes first is random in each stretch. So a beginning that is a power of two has one number in each
/// stretch of as many equal ones, and all numbers of the stretch are as likely.
Order fullOrder(unsigned bits) {
    Order order(std::size_t{1} << bits);
    for (std::uint32_t i = 0; i < order.size(); ++i) {
        std::uint32_t node = 1;
        for (unsigned level = 0; level < bits; ++level) node = node * 2 + ((i >> level & 1) ^ unsigned(isTurned(node)));
        order[i] = node - static_cast<std::uint32_t>(order.size());
    }
    return order;
}

/// Of any number: the order of a power of two without what is beyond.
Order orderFrom(const Order& full, std::size_t count) {
    Order order(count + 1);
    std::size_t kept = 0;
    for (const std::uint32_t number : full) {
        order[kept] = number;
        kept += number < count && kept < count;
    }
    order.resize(count);
    return order;
}

class Tables {
public:
    std::shared_ptr<const Order> of(std::size_t count) {
        const std::lock_guard lock(mutex_);
        const auto found = std::ranges::find(recent_, count, [](const auto& order) { return order->size(); });
        if (found != recent_.end()) {
            recent_.splice(recent_.begin(), recent_, found);
            return recent_.front();
        }
        const unsigned bits = std::max(17U, unsigned(std::bit_width(count > 0 ? count - 1 : 0)));
        auto& full = full_[bits];
        if (!full) full = std::make_shared<const Order>(fullOrder(bits));
        if (count == full->size()) return full;
        recent_.push_front(std::make_shared<const Order>(orderFrom(*full, count)));
        if (recent_.size() > Kept) recent_.pop_back();
        return recent_.front();
    }

private:
    static constexpr std::size_t Kept = 16; // in an octree each fragment has a size of its own

    std::mutex mutex_;
    std::shared_ptr<const Order> full_[33];          // by bits
    std::list<std::shared_ptr<const Order>> recent_; // last used first
};

} // namespace

std::shared_ptr<const Order> drawOrder(std::size_t count) {
    if (count > std::size_t{1} << 31) throw std::length_error("a fragment that is drawn has at most 2^31 points");
    static Tables tables;
    return tables.of(count);
}

} // namespace corvane
