// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/GridProviderObject.hpp"

#include <string>

namespace Kesh {

/// The base of modules that provide an `Output`, and how they name one.
template <class Output>
struct ProviderOf;
template <>
struct ProviderOf<Fiber::Grid> {
    using Object = GridProviderObject;
    using Selector = Fiber::GridSelector;
};

/// Base of a module that makes an `Output` from the value of one input and its own parameters. The module has
/// `connectInput(VObject&, preferences)`, static, which gives it its input, and `filter(const Input&, const
/// VRequest&)`, which returns what is published.
template <class Input, class Module, class Output>
class VFilter : public ProviderOf<Output>::Object {
public:
    VFilter(const std::string& name, int expertLevel, const Holdfast::StrongPtr<VCreationPreferences>& preferences,
            const std::string& outputName)
        : ProviderOf<Output>::Object(name, expertLevel, preferences, outputName),
          input_(Module::connectInput(*this, preferences), Input()) {}

private:
    typename ProviderOf<Output>::Selector provide(const VRequest& request) final {
        return static_cast<Module&>(*this).filter(input_.get(*request.pool), request);
    }

    TypedSlot<Input> input_;
};

} // namespace Kesh
