// SPDX-License-Identifier: Apache-2.0
#include "network/Network.hpp"

#include "Kesh/catalogue/VInput.hpp"
#include "Kesh/editing/EditField.hpp"
#include "base/NearestName.hpp"
#include "network/ClassTable.hpp"
#include "network/FieldRange.hpp"
#include "network/HostWatch.hpp"
#include "network/Objects.hpp"
#include "network/RestoreValues.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace corvane {

using Holdfast::StrongPtr;
using Json = NetworkRecord::Json;
using Kesh::VObject;
using Kesh::VSlot;

namespace {

std::vector<std::string> namesOf(const std::vector<StrongPtr<VSlot>>& slots) {
    std::vector<std::string> names;
    for (const auto& slot : slots) names.push_back(slot->name());
    return names;
}

/// Whether there is a value, and of this type. There is none where what makes values of a type was never loaded.
bool holds(const VSlot& slot, const Kesh::ValuePool& pool, const std::type_info& type) {
    const auto value = slot.getValueBase(pool);
    return value && value->type() == type;
}

/// "object.slot" in its two parts.
std::pair<std::string, std::string> splitPath(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos)
        throw UsageError(
            fmt::format("\"{}\" names no slot; write the object's name, a dot, and the slot's name.", path));
    return {path.substr(0, dot), path.substr(dot + 1)};
}

/// Bounds are enforced where a person or a file sets a value, not inside modules.
void checkBounds(const std::string& path, const Kesh::VParameter& parameter, const Kesh::VValueBase& value) {
    const auto* number = dynamic_cast<const Kesh::VValue<int>*>(&value);
    const int* minimum = parameter.properties().getValue<int>("min");
    const int* maximum = parameter.properties().getValue<int>("max");
    if (!number || !minimum || !maximum || (number->value >= *minimum && number->value <= *maximum)) return;
    throw UsageError(fmt::format("{}: {} was found where a value from {} to {} is expected.", path, number->value,
                                 *minimum, *maximum));
}

/// As a network file has it: numbers as numbers, label sets as JSON, all else as text.
Json recorded(const Kesh::VValueBase& value) {
    const std::string text = value.text();
    const bool json = value.type() == typeid(int) || value.type() == typeid(double) ||
                      value.type() == typeid(Kesh::LabelSet) || value.type() == typeid(ClassRules);
    return json ? Json::parse(text) : Json(text);
}

std::string flagNamed(const Survey& survey, const std::string& name) {
    const SurveyField& field = survey.findField(name);
    if (std::ranges::find(FlagFields, field.name) != FlagFields.end()) return field.name;
    throw UsageError(
        fmt::format("\"{}\" is no flag of a point; flags are {}.", field.name, fmt::join(FlagFields, ", ")));
}

/// The type that an input selects by its value: a field selector takes fields, a grid selector grids.
const std::type_info& typeTakenBy(const Kesh::VValueBase& value) {
    if (value.type() == typeid(Fiber::FieldSelector)) return typeid(Fiber::Field);
    return value.type() == typeid(Fiber::GridSelector) ? typeid(Fiber::Grid) : value.type();
}

} // namespace

Network::Network(std::shared_ptr<const Survey> survey, Watch watch)
    : survey_(std::move(survey)), watch_(std::move(watch)), pool_(Holdfast::create<Kesh::ValuePool>()) {
    registerShellTypes();
}

Network::~Network() {
    for (const Entry& entry : objects_)
        if (!entry.ownObject) Kesh::VCreatorBase::deleteInstance(entry.object);
}

void Network::addObject(const std::string& name, const std::string& type) {
    if (byName_.contains(name))
        throw UsageError(fmt::format("There are two objects called \"{}\"; give each a name of its own.", name));
    if (name.empty() || name.find('.') != std::string::npos)
        throw UsageError(fmt::format("\"{}\" cannot be the name of an object: it needs a letter, and no dots.", name));
    add(name, type, make(name, type));
    record_.addObject(name, type);
    if (undoDepth_ && object(name)->findSlot("undodepth")) set(name + ".undodepth", std::to_string(*undoDepth_));
}

void Network::add(const std::string& name, const std::string& type, const StrongPtr<VObject>& object) {
    byName_.emplace(name, objects_.size());
    const bool source = dynamic_cast<const FieldObject*>(&*object) || dynamic_cast<const BrushObject*>(&*object);
    objects_.push_back({name, type, object, object->creator() ? nullptr : object, source});
}

StrongPtr<VObject> Network::make(const std::string& name, const std::string& type) const {
    if (type == FieldType) return Holdfast::create<FieldObject>(name, survey_);
    if (type == BrushType) {
        survey_->expectBrush();
        return Holdfast::create<BrushObject>(name);
    }
    if (type == ClassTableType) {
        survey_->expectBrush();
        return Holdfast::create<ClassTable>(name);
    }
    if (type == RestoreValuesType) {
        survey_->expectBrush();
        return Holdfast::create<RestoreValues>(name, survey_);
    }
    if (const auto creator = Kesh::VCreatorBase::find(type)) return creator->create(name, nullptr);
    std::vector<std::string> known{FieldType, BrushType, ClassTableType, RestoreValuesType};
    for (const auto& creator : Kesh::VCreatorBase::catalogue()) known.push_back(creator->key());
    throw UsageError(fmt::format("{}: there is no type \"{}\". {}", name, type, suggestNames(type, known)));
}

StrongPtr<VObject> Network::object(const std::string& name) const {
    if (const auto found = byName_.find(name); found != byName_.end()) return objects_[found->second].object.lock();
    std::vector<std::string> known;
    for (const Entry& entry : objects_) known.push_back(entry.name);
    throw UsageError(fmt::format("There is no object \"{}\". {}", name, suggestNames(name, known)));
}

StrongPtr<VSlot> Network::slot(const std::string& path) const {
    const auto [objectName, slotName] = splitPath(path);
    const auto owner = object(objectName);
    if (const auto found = owner->findSlot(slotName)) return found;
    throw UsageError(fmt::format("{}: the object \"{}\" has no slot \"{}\". {}", path, objectName, slotName,
                                 suggestNames(slotName, namesOf(owner->allSlots()))));
}

StrongPtr<VSlot> Network::output(const std::string& path) const {
    const auto [objectName, outputName] = splitPath(path);
    const auto owner = object(objectName);
    if (const auto found = owner->findOutput(outputName)) return found;
    throw UsageError(fmt::format("{}: the object \"{}\" has no output \"{}\". {}", path, objectName, outputName,
                                 suggestNames(outputName, namesOf(owner->outputs()))));
}

std::string Network::connect(const std::string& from, const std::string& to, bool fromAnything) {
    const auto source = output(from), target = slot(to);
    source->owner().update(Kesh::VRequest(pool_)); // what it offers decides
    std::string provider;
    if (fromAnything) {
        provider = connectThroughProvider(from, source, to, target);
    } else {
        checkAccepted(*target, *source, to);
        if (!target->owner().connectSlots(*target, source))
            throw UsageError(fmt::format("{} cannot be connected to {}: they hold different types of values, or the "
                                         "connection would close a circle.",
                                         from, to));
    }
    record_.connect(from, to, fromAnything);
    return provider;
}

std::string Network::connectThroughProvider(const std::string& from, const StrongPtr<VSlot>& source,
                                            const std::string& to, const StrongPtr<VSlot>& target) {
    const auto value = target->getValueBase(*pool_);
    const auto isTaken = [this](const std::string& name) { return byName_.contains(name); };
    auto made = connectFromAnything(target->owner(), *target, source, typeTakenBy(*value), *pool_, isTaken);
    if (!made.connected) {
        std::ranges::replace(made.refusals, '\n', ' '); // a problem is told on one line
        throw UsageError(
            fmt::format("{} cannot be connected to {}, and no module supplies it. {}", from, to, made.refusals));
    }
    if (!made.provider) return "";
    add(made.provider->BaseName(), made.provider->creator()->key(), made.provider);
    return made.provider->BaseName();
}

std::string Network::nameOf(const VObject& object) const {
    const auto known = std::ranges::find_if(objects_, [&](const Entry& e) { return &*e.object.lock() == &object; });
    return known == objects_.end() ? object.BaseName() : known->name;
}

void Network::disconnect(const std::string& input) {
    const auto target = slot(input);
    if (!target->source()) throw UsageError(fmt::format("{} is not connected to anything.", input));
    target->setSource(nullptr);
    record_.disconnect(input);
}

void Network::removeObject(const std::string& name) {
    const auto removed = object(name);
    for (const Entry& entry : objects_)
        for (const auto& input : entry.object.lock()->allSlots())
            if (const auto source = input->source(); source && &source->owner() == &*removed) input->setSource(nullptr);
    const Entry entry = objects_[byName_.at(name)];
    objects_.erase(objects_.begin() + std::ptrdiff_t(byName_.at(name)));
    byName_.clear();
    for (std::size_t i = 0; i < objects_.size(); ++i) byName_.emplace(objects_[i].name, i);
    if (!entry.ownObject) Kesh::VCreatorBase::deleteInstance(entry.object);
    record_.removeObject(name);
}

/// What only offers something changes no data, so it is brought up to date first: then it is known what every module
/// will get, before any of them does anything.
void Network::checkBeforeUpdate() {
    for (const Entry& entry : objects_)
        if (entry.source && !entry.ownObject->update(Kesh::VRequest(pool_)))
            throw Failure(fmt::format("{}: {}", entry.name, entry.ownObject->status(*pool_).text));
    for (const Entry& entry : objects_) {
        const auto checked = entry.object.lock();
        checkInputs(*checked);
        checkWrittenValue(*checked, *survey_, *pool_);
    }
}

/// What a source offers may be another field than when it was connected.
void Network::checkInputs(const VObject& object) const {
    for (const auto& input : object.allSlots())
        if (const auto source = input->source())
            checkAccepted(*input, *source, object.BaseName() + "." + input->name());
}

/// The module's own rule for the fields that it works on.
void Network::checkAccepted(const VSlot& target, const VSlot& source, const std::string& input) const {
    if (!holds(source, *pool_, typeid(Fiber::FieldSelector))) return;
    const auto accepted = target.owner().accept(source, *pool_);
    if (accepted && !*accepted)
        throw UsageError(fmt::format("{}.{} cannot be connected to {}: {}", source.owner().BaseName(), source.name(),
                                     input, accepted->refusalText()));
}

void Network::set(const std::string& path, const std::string& text) {
    const auto target = slot(path);
    if (target->name() == FieldObject::Name && dynamic_cast<const FieldObject*>(&target->owner()))
        survey_->findField(text);
    const auto& initial = target->parameter()->getValue(*pool_);
    try {
        const auto value = initial->fromText(text);
        if (const auto* rules = dynamic_cast<const Kesh::VValue<ClassRules>*>(value.get()))
            return set(path, rules->value);
        checkBounds(path, *target->parameter(), *value);
        setValue(target, value);
        record_.set(path, recorded(*value));
    } catch (const std::invalid_argument& problem) {
        throw UsageError(fmt::format("{}: {}.", path, problem.what()));
    }
}

template <class T>
void Network::setTyped(const std::string& path, const T& value, const std::string& what) {
    const auto target = slot(path);
    if (!holds(*target, *pool_, typeid(T))) throw UsageError(fmt::format("{} holds no {}.", path, what));
    const auto made = Holdfast::create<Kesh::VValue<T>>(value);
    setValue(target, made);
    record_.set(path, recorded(*made));
}

void Network::set(const std::string& path, const Kesh::LabelSet& labels) { setTyped(path, labels, "label set"); }

void Network::set(const std::string& path, const ClassRules& rules) {
    ClassRules onSurvey = rules; // with the names that its fields have
    for (ClassRule& rule : onSurvey.rules) {
        rule.limit = limitOn(*survey_, rule.limit);
        if (rule.from) std::ranges::sort(*rule.from);
        for (auto* flags : {&rule.with, &rule.flags}) {
            std::map<std::string, bool> exact;
            for (const auto& [name, value] : *flags) exact[flagNamed(*survey_, name)] = value;
            *flags = std::move(exact);
        }
    }
    setTyped(path, onSurvey, "table of classes");
}

void Network::setValue(const StrongPtr<VSlot>& target, const StrongPtr<Kesh::VValueBase>& value) {
    if (target->source())
        throw UsageError(fmt::format("{}.{} takes its value from a connection; set it where it comes from.",
                                     target->owner().BaseName(), target->name()));
    target->parameter()->setValue(*pool_, value, Holdfast::Ageable::nextTime());
}

void Network::press(const std::string& path) {
    using Action = StrongPtr<Kesh::VAction>;
    const auto target = slot(path);
    if (!holds(*target, *pool_, typeid(Action)))
        throw UsageError(fmt::format("{} is no action and cannot be pressed; set it instead.", path));
    setValue(target, Holdfast::create<Kesh::VValue<Action>>(Holdfast::create<Kesh::VAction>()));
    record_.press(path);
}

void Network::draw(const std::string& path, const Stroke& stroke) {
    const auto target = slot(path);
    if (!holds(*target, *pool_, typeid(Kesh::Brush)))
        throw UsageError(fmt::format("{} holds no brush; draw into the \"{}\" of an object of type \"{}\".", path,
                                     BrushObject::Output, BrushType));
    setValue(target, Holdfast::create<Kesh::VValue<Kesh::Brush>>(brushOf(stroke, *survey_)));
    record_.draw(path, stroke);
}

void Network::update() {
    try {
        bringUpToDate();
    } catch (...) {
        forgetTriggers();
        throw;
    }
    record_.update();
}

void Network::bringUpToDate() {
    const HostWatch hostWatch(watch_);
    checkBeforeUpdate();
    for (const Entry& entry : objects_) {
        const auto updated = entry.object.lock();
        if (updated->update(Kesh::VRequest(pool_))) continue;
        const std::string said = fmt::format("{}: {}", entry.name, updated->status(*pool_).text);
        if (hostWatch.interrupted()) throw Interrupted(said);
        throw Failure(said);
    }
}

/// Editors that had not their turn would act at the next update, which is about something else.
void Network::forgetTriggers() {
    record_.dropTriggers();
    for (const Entry& entry : objects_)
        if (const auto editor = Holdfast::cast<Kesh::EditField>(entry.object.lock()))
            editor->raiseAge(*pool_, Holdfast::Ageable::nextTime());
}

} // namespace corvane
