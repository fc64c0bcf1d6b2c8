// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/VObject.hpp"

#include <functional>

namespace corvane::test {

/// A module with an input, a trigger and an output, that adds one unless it is told to do something else.
class Node : public Kesh::VObject {
public:
    using Work = std::function<bool(Node&, Kesh::VRequest&)>;

    explicit Node(const std::string& name, Work work = addOne)
        : VObject(name),
          in(*this, "in", 0),
          go(*this, "go", Holdfast::create<Kesh::VAction>()),
          out(*this, "out", 0),
          work_(std::move(work)) {
        registerOutput(out.slot());
    }

    static bool addOne(Node& node, Kesh::VRequest& request) {
        const auto sum = Holdfast::create<Kesh::VValue<int>>(node.in.get(*request.pool) + 1);
        node.out->parameter()->setValue(*request.pool, sum, request.time);
        return true;
    }

    Kesh::TypedSlot<int> in;
    Kesh::TypedSlot<Holdfast::StrongPtr<Kesh::VAction>> go;
    Kesh::TypedSlot<int> out;
    int runs = 0;
    int fired = 0; // runs that saw the trigger

protected:
    bool unsychronized_update(Kesh::VRequest& request, double) override {
        ++runs;
        fired += hasChanged(*go, *request.pool);
        return work_(*this, request);
    }

private:
    Work work_;
};

} // namespace corvane::test
