// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/catalogue/VCreator.hpp"
#include "Kesh/values/LabelSet.hpp"
#include "Kesh/values/VHistogram.hpp"
#include "base/Watch.hpp"
#include "network/ClassRules.hpp"
#include "network/NetworkFacts.hpp"
#include "network/NetworkRecord.hpp"
#include "survey/Survey.hpp"

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace corvane {

/// Objects by name on a survey, their connections and values. Names of objects and slots are given as "object.slot".
/// Every operation throws UsageError for a name that does not exist or a value that does not suit, with the nearest
/// names; an update that fails throws Failure, one that was stopped Interrupted. Networks on different surveys may work
/// on threads of their own.
class Network {
public:
    /// The watch sees every update.
    explicit Network(std::shared_ptr<const Survey> survey, Watch watch = {});
    ~Network();
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    const Survey& survey() const { return *survey_; }
    const Watch& watch() const { return watch_; }

    /// How many steps the histories of editors that are added from now on keep, unless they are told otherwise. Is
    /// recorded: what is undone far behind is so again where the record is run.
    void setUndoDepth(int depth) { undoDepth_ = depth; }

    /// `type` is the key of a module in the catalogue ("Edit/ModifyClassification"), or "Field", "Brush",
    /// "ClassTable" or "RestoreValues".
    void addObject(const std::string& name, const std::string& type);

    /// Connects an output to an input. With `fromAnything` a provider is made in between where the types differ; its
    /// name is returned, else an empty one.
    std::string connect(const std::string& output, const std::string& input, bool fromAnything = false);

    /// The input ("object.slot") reads its own value from now on. An editor whose brush is disconnected edits nothing,
    /// as with an empty one, until another is connected. Throws UsageError for one that is not connected.
    void disconnect(const std::string& input);

    /// The object goes; what was connected to it is disconnected. What it did stays.
    void removeObject(const std::string& name);

    /// All objects, in the order in which they are brought up to date, with their slots.
    std::vector<ObjectFacts> objects() const;

    /// What a slot holds or is connected to, as text.
    std::string value(const std::string& slot) const;

    /// Sets a parameter, or an output that a user may edit, within the parameter's bounds: to what the text says, or to
    /// the number or the labels.
    void set(const std::string& slot, const std::string& text);
    void set(const std::string& slot, int number) { set(slot, std::to_string(number)); }
    void set(const std::string& slot, const Kesh::LabelSet& labels);
    void set(const std::string& slot, const ClassRules& rules);

    /// Fires an action.
    void press(const std::string& slot);

    /// Draws a stroke into a brush ("object.brush"). Throws StrokeProblem for one that makes no sense.
    void draw(const std::string& slot, const Stroke& stroke);

    /// Brings all objects up to date, in the order in which they were added. What was set, pressed and drawn since the
    /// last update happens together. Before anything happens it is checked that every module gets a field that it
    /// accepts, and that no value is to be written which its field cannot hold. When it throws, what was pressed and
    /// drawn is spent, and not recorded.
    void update();

    /// Ends the action at hand without doing it, for writing networks that nobody runs.
    void recordUpdate() { record_.update(); }

    /// For whoever has taken back what the actions from this one on did to the data. Values that they set stay.
    void forgetActionsSince(std::size_t first) { record_.forgetSince(first); }

    /// What was done so far is kept somewhere, and no text of new actions needs to say it again.
    void keepActions() { record_.keep(); }

    /// What was done.
    const NetworkRecord& record() const { return record_; }

    /// The status line of an object.
    Kesh::Status status(const std::string& object) const;

    /// The field that an object works on, or offers.
    Fiber::FieldSelector selectorOf(const std::string& object) const;
    Holdfast::StrongPtr<Fiber::Field> fieldOf(const std::string& object) const;

    /// What an object that counts has counted last; none when the object does not count.
    std::optional<Kesh::VHistogram> histogramOf(const std::string& object) const;

    /// What the last edit of one of the program's own editors did; none for another object.
    std::optional<ClassTally> tallyOf(const std::string& object) const;

    /// How many points are in the mask that an object selects into; none when it has no mask, or there is none.
    std::optional<std::uint64_t> selectedPoints(const std::string& object) const;

    /// The grid that an output ("object.shape") selects; empty when it selects none.
    Holdfast::StrongPtr<Fiber::Grid> gridOf(const std::string& slot) const;

private:
    struct Entry {
        std::string name, type;
        Holdfast::WeakPtr<Kesh::VObject> object;      // objects of modules belong to their creators
        Holdfast::StrongPtr<Kesh::VObject> ownObject; // the shell's
        bool source = false;                          // offers what it was given, and changes no data
    };

    void add(const std::string& name, const std::string& type, const Holdfast::StrongPtr<Kesh::VObject>& object);
    std::string nameOf(const Kesh::VObject& object) const;
    Holdfast::StrongPtr<Kesh::VObject> object(const std::string& name) const;
    Holdfast::StrongPtr<Kesh::VSlot> slot(const std::string& path) const;
    Holdfast::StrongPtr<Kesh::VSlot> output(const std::string& path) const;
    Holdfast::StrongPtr<Kesh::VObject> make(const std::string& name, const std::string& type) const;
    std::string connectThroughProvider(const std::string& from, const Holdfast::StrongPtr<Kesh::VSlot>& source,
                                       const std::string& to, const Holdfast::StrongPtr<Kesh::VSlot>& target);
    void bringUpToDate();
    void forgetTriggers();
    void checkBeforeUpdate();
    void checkInputs(const Kesh::VObject& object) const;
    void checkAccepted(const Kesh::VSlot& target, const Kesh::VSlot& source, const std::string& input) const;
    template <class T>
    void setTyped(const std::string& path, const T& value, const std::string& what);
    void setValue(const Holdfast::StrongPtr<Kesh::VSlot>& slot, const Holdfast::StrongPtr<Kesh::VValueBase>& value);

    std::shared_ptr<const Survey> survey_;
    Watch watch_;
    Holdfast::StrongPtr<Kesh::ValuePool> pool_;
    std::vector<Entry> objects_;
    std::unordered_map<std::string, std::size_t> byName_; // places in objects_
    NetworkRecord record_;
    std::optional<int> undoDepth_; // none: as the editors have it
};

} // namespace corvane
