// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/ParameterIntroduction.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace Kesh {

/// What one item of a module's introduction says.
enum class CreatorProperty { Domain, Description, BuildDate, Name, SourceFile, Category };

struct VCreatorPropertyBase {
    CreatorProperty key;
    std::string text;
};

/// A module's introduction: items in the order in which they were merged.
class VCreatorProperties {
public:
    /// The items so far, and one more. An item without text adds nothing.
    VCreatorProperties merge(const VCreatorPropertyBase& item) const;

    /// The text of the first item of that key, empty when there is none.
    std::string text(CreatorProperty key) const;

    /// The texts of all items of that key, in order.
    std::vector<std::string> texts(CreatorProperty key) const;

    /// Category and name, joined: what the catalogue lists the module under.
    std::string key(std::string_view separator) const;

    /// The parameters that every object of the module has.
    const ParameterTable& parameters() const { return parameters_; }
    void setParameters(ParameterTable parameters) { parameters_ = std::move(parameters); }

private:
    ParameterTable parameters_;
    std::vector<VCreatorPropertyBase> items_;
};

/// What follows the last "/" or "\" of a path, up to its last ".": the name of a module that gives itself none.
std::string nameFromSourceFile(std::string_view path);

} // namespace Kesh
