// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Selectors.hpp"
#include "Holdfast/Ageable.hpp"
#include "Holdfast/Pointer.hpp"
#include "Holdfast/Typename.hpp"
#include "Kesh/values/Brush.hpp"
#include "Kesh/values/Enum.hpp"
#include "Kesh/values/VAction.hpp"
#include "Kesh/values/VTime.hpp"

#include <string>
#include <typeinfo>

namespace Kesh {

/// The text form of values, for storing and for people. A type that has none cannot be set from text.
/// `setValueFromText` throws std::invalid_argument with what was expected, and leaves the value as it was.
template <class T>
struct VValueTrait;

/// Whether a value is another one.
template <class T>
struct VValueCompareTrait {
    static bool isDifferent(const T& a, const T& b) { return !(a == b); }
};

/// A value of any type, and when it was set. `Ooooold`: never, it is an initial value.
class VValueBase : public Holdfast::Managed, public Holdfast::Ageable {
public:
    virtual const std::type_info& type() const = 0;
    virtual std::string text() const = 0;
    virtual Holdfast::StrongPtr<VValueBase> copy() const = 0;

    /// A value of the same type with what the text says; members that a text does not carry (the cases of an
    /// enumeration) are taken from this one.
    virtual Holdfast::StrongPtr<VValueBase> fromText(const std::string& text) const = 0;
};

template <class T>
class VValue : public VValueBase {
public:
    explicit VValue(T initial) : value(std::move(initial)) {}

    const std::type_info& type() const override { return typeid(T); }
    std::string text() const override { return VValueTrait<T>::Text(value); }
    Holdfast::StrongPtr<VValueBase> copy() const override { return Holdfast::create<VValue<T>>(value); }
    Holdfast::StrongPtr<VValueBase> fromText(const std::string& text) const override {
        T copy = value;
        VValueTrait<T>::setValueFromText(copy, text);
        return Holdfast::create<VValue<T>>(std::move(copy));
    }

    T value;
};

/// What declares a type to be one that parameters have.
#define KESH_VALUE_TYPE(...)                                                                                           \
    template <>                                                                                                        \
    struct VValueTrait<__VA_ARGS__> {                                                                                  \
        static std::string Text(const __VA_ARGS__& value);                                                             \
        static void setValueFromText(__VA_ARGS__& value, const std::string& text);                                     \
    };                                                                                                                 \
    extern template class VValue<__VA_ARGS__>; // its code stays loaded when a plug-in that uses it goes

KESH_VALUE_TYPE(int)
KESH_VALUE_TYPE(double)
KESH_VALUE_TYPE(std::string)
KESH_VALUE_TYPE(VTime)
KESH_VALUE_TYPE(Enum)
KESH_VALUE_TYPE(Holdfast::StrongPtr<VAction>)
KESH_VALUE_TYPE(Fiber::GridSelector)
KESH_VALUE_TYPE(Fiber::FieldSelector)
KESH_VALUE_TYPE(Brush)

/// Stands for one type of values. A parameter exists only when the creator of its type has been registered.
class VValueCreator : public Holdfast::Managed {
public:
    static void registerCreator(const Holdfast::WeakPtr<VValueCreator>& creator, const std::string& typeName);

    /// Forgets creators that are gone. A library calls it before it is unloaded with the code of its creators.
    static void forgetExpired();

    /// The first creator registered under the name that still lives, or empty.
    static Holdfast::StrongPtr<VValueCreator> find(const std::string& typeName);
};

/// Makes sure that the value creator of T is registered, once per library, until that library is unloaded.
template <class T>
void ensureValueCreator() {
    struct Registered {
        Registered() { VValueCreator::registerCreator(creator, Holdfast::Typename(typeid(T))); }
        ~Registered() {
            creator.reset();
            VValueCreator::forgetExpired();
        }
        Holdfast::StrongPtr<VValueCreator> creator = Holdfast::create<VValueCreator>();
    };
    static const Registered registered;
}

} // namespace Kesh
