// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/ValuePool.hpp"

namespace Kesh {

/// Hears of every new value of a parameter before anybody reads it, and may change it in place.
class InputNotifier : public Holdfast::Managed {
public:
    /// True when it changed the value.
    virtual bool notify(VValueBase& value, const Holdfast::WeakPtr<ValuePool>& pool) = 0;
};

/// Hands the values of type T to an operation of the object that it belongs to, and which outlives it.
template <class T, class Object, bool (Object::*operation)(T&, const Holdfast::WeakPtr<ValuePool>&)>
class MutableInputNotifier : public InputNotifier {
public:
    explicit MutableInputNotifier(Object& object) : object_(object) {}

    bool notify(VValueBase& value, const Holdfast::WeakPtr<ValuePool>& pool) override {
        auto* typed = dynamic_cast<VValue<T>*>(&value);
        return typed && (object_.*operation)(typed->value, pool);
    }

private:
    Object& object_;
};

} // namespace Kesh
