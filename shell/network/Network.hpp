// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/catalogue/VCreator.hpp"
#include "Kesh/values/VHistogram.hpp"
#include "survey/Survey.hpp"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// Objects by name on a survey, their connections and values. Names of objects and slots are given as "object.slot".
/// Every operation throws UsageError for a name that does not exist or a value that does not suit, with the nearest
/// names, and Failure for an update that fails.
class Network {
public:
    explicit Network(std::shared_ptr<const Survey> survey);
    ~Network();
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    const Survey& survey() const { return *survey_; }

    /// `type` is the key of a module in the catalogue ("Edit/ModifyClassification"), or "Field" or "Brush".
    void addObject(const std::string& name, const std::string& type);

    /// Connects an output to an input. With `fromAnything` a provider is made in between where the types differ.
    void connect(const std::string& output, const std::string& input, bool fromAnything);

    /// Sets a parameter, or an output that a user may edit, to what the text says, within the parameter's bounds.
    void set(const std::string& slot, const std::string& text);

    /// Fires an action.
    void press(const std::string& slot);

    /// Draws a stroke into a brush ("object.brush").
    void draw(const std::string& slot, const Kesh::Brush& stroke);

    /// Brings all objects up to date, in the order in which they were added.
    void update();

    /// The status line of an object.
    std::string status(const std::string& object) const;

    /// The field that an object works on, or offers.
    Fiber::FieldSelector selectorOf(const std::string& object) const;
    Holdfast::StrongPtr<Fiber::Field> fieldOf(const std::string& object) const;

    /// What an object that counts has counted last; none when the object does not count.
    std::optional<Kesh::VHistogram> histogramOf(const std::string& object) const;

    /// The grid that an output ("object.shape") selects; empty when it selects none.
    Holdfast::StrongPtr<Fiber::Grid> gridOf(const std::string& slot) const;

private:
    struct Entry {
        std::string name;
        Holdfast::WeakPtr<Kesh::VObject> object;      // objects of modules belong to their creators
        Holdfast::StrongPtr<Kesh::VObject> ownObject; // the shell's
    };

    Holdfast::StrongPtr<Kesh::VObject> object(const std::string& name) const;
    Holdfast::StrongPtr<Kesh::VSlot> slot(const std::string& path) const;
    Holdfast::StrongPtr<Kesh::VObject> make(const std::string& name, const std::string& type) const;
    void checkInputs(const Kesh::VObject& updated) const;
    void checkAccepted(const Kesh::VSlot& target, const Kesh::VSlot& source, const std::string& input) const;
    void setValue(const Holdfast::StrongPtr<Kesh::VSlot>& slot, const Holdfast::StrongPtr<Kesh::VValueBase>& value);

    std::shared_ptr<const Survey> survey_;
    Holdfast::StrongPtr<Kesh::ValuePool> pool_;
    std::vector<Entry> objects_;
};

} // namespace corvane
