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
/// `connectInput(VObject&, VSlot&, preferences)`, static, which connects its input, and `filter(const Input&, const
/// VRequest&)`, which returns what is published.
template <class Input, class Module, class Output>
class VFilter : public ProviderOf<Output>::Object {
public:
    /// `own` are the parameters after the output, the input among them.
    VFilter(const std::string& name, int expertLevel, const Holdfast::StrongPtr<VCreationPreferences>& preferences,
            const std::string& outputName, const std::string& inputName, const ParameterTable& own)
        : ProviderOf<Output>::Object(name, expertLevel, preferences, outputName, own), input_(*this, inputName) {
        Module::connectInput(*this, *input_.slot(), preferences);
    }

private:
    typename ProviderOf<Output>::Selector provide(const VRequest& request) final {
        return static_cast<Module&>(*this).filter(input_.get(*request.pool), request);
    }

    TypedSlot<Input> input_;
};

} // namespace Kesh
