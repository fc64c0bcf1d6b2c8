// SPDX-License-Identifier: Apache-2.0
#include "Bench.hpp"
#include "Kesh/catalogue/ModuleRegistration.hpp"
#include "Kesh/objects/VActionNotifier.hpp"
#include "Kesh/objects/Vprintf.hpp"
#include "Node.hpp"

#include <set>

namespace corvane::test {
namespace {

using Kesh::VAcceptInfo;
using Kesh::VAcceptList;

/// Makes an int from a field.
class Counter : public Kesh::VObject {
public:
    using Provided = int;
    Counter(const std::string& name, const StrongPtr<Kesh::VCreationPreferences>&) : VObject(name) {
        registerOutput(count_.slot());
    }

protected:
    bool unsychronized_update(Kesh::VRequest&, double) override { return true; }

private:
    Kesh::TypedSlot<Fiber::FieldSelector> field_{*this, "field", {}};
    Kesh::TypedSlot<int> count_{*this, "count", 0};
};

using CounterCreator = Kesh::CorvaneCreator<Counter, Kesh::AcceptList<Fiber::Field, unsigned char, unsigned short>>;
using CounterInput = Kesh::FieldInputCreator<Counter, int, unsigned char, unsigned short>;
using CounterRegistration = Kesh::ModuleRegistration<Counter, CounterCreator, CounterInput, Fiber::FieldSelector, int>;
const Kesh::ModuleIntroduction Introduction{
    {}, {"long", "short"}, "Sep  8 2026", "", "a\\b/modules\\Counter.of.fields.cpp", "Compute", -7, {}};

/// Offers an object that has, or has not, the output that is looked for.
class Offer : public Kesh::VInputCreatorBase {
public:
    Offer(VAcceptList answer, StrongPtr<Kesh::VObject> object) : answer_(std::move(answer)), object_(object) {}
    StrongPtr<Kesh::VCreatorBase> owner() const override { return nullptr; }
    VAcceptList accept(const Kesh::VSlot&, const Kesh::ValuePool&) const override { return answer_; }
    StrongPtr<Kesh::VObject> createOn(const StrongPtr<Kesh::VSlot>&, const std::string&) const override {
        return object_;
    }

private:
    VAcceptList answer_;
    StrongPtr<Kesh::VObject> object_;
};

class Input : public Bench {
protected:
    Input() {
        Kesh::setVprintfSink([this](const std::string& text) { printed += text; });
    }
    ~Input() override {
        Kesh::setVprintfSink([](const std::string&) {});
    }

    /// Weight and reason, or the refusal, of a field offered to a module of classifications.
    std::string answer() {
        const auto list =
            Kesh::acceptField(*candidate.slot(), *pool, Fiber::TypeList::of<unsigned char, unsigned short>(),
                              Fiber::BundleProperty::Anything);
        if (!list) return list.refusalText();
        EXPECT_EQ(list.reasons().size(), 1u);
        return std::to_string(list.weight()).substr(0, 3) + " " + list.reasons()[0].reason;
    }

    std::string printed;
    Node owner{"owner"};
    Kesh::TypedSlot<Fiber::FieldSelector> candidate{owner, "field", {}};
};

TEST_F(Input, fieldsAreAcceptedByTheTypeOfTheirElements) {
    const std::string unknown =
        "0.5 Unitialized generic Field provider, might be suitable to provide the requested type, "
        "we don't know yet.";
    EXPECT_EQ(answer(), unknown) << "nothing was chosen yet";
    set(pool, owner, "field", selector("u8"));
    EXPECT_EQ(answer(), unknown) << "a grid without fields";
    field<unsigned char>("u8", {{1}});
    field<unsigned short>("u16", {{1}});
    field<signed char>("s8", {{1}});
    for (const auto& [name, expected] : std::map<std::string, std::string>{
             {"u8", "1.0 Field qualifies to be of type unsigned char"},
             {"u16", "1.0 Field qualifies to be of type unsigned short"},
             {"s8", "Field \"s8\" is none of the types unsigned char, unsigned short."},
             {"U8", "Field \"U8\" is none of the types unsigned char, unsigned short."}}) {
        set(pool, owner, "field", selector(name));
        EXPECT_EQ(answer(), expected);
    }
}

TEST_F(Input, aFailedRegistrationWarnsTwice) {
    struct Listener : Kesh::VActionNotifier {
        void warn(const std::string& text) override { heard += text; }
        std::string heard;
    };
    const auto listener = Holdfast::create<Listener>();
    Kesh::VActionNotifier::activate(listener);
    const auto offer = Holdfast::create<Offer>(VAcceptList(), nullptr);
    Kesh::registerInputOrWarn(typeid(double), offer, typeid(Node));
    EXPECT_EQ(printed + listener->heard, "");
    Kesh::registerInputOrWarn(typeid(double), offer, typeid(Node));
    EXPECT_EQ(printed,
              "WARNING: Could not register corvane::test::(anonymous namespace)::Offer as input creator for type "
              "double!\n");
    EXPECT_EQ(listener->heard, "Could not register corvane::test::Node as input creator for type double");
    Kesh::unregisterVInput(typeid(double), offer);
    EXPECT_TRUE(Kesh::registerVInput(typeid(double), offer)) << "it was withdrawn";
    Kesh::unregisterVInput(typeid(double), offer);
}

TEST_F(Input, anythingIsConnectedThroughTheBestProvider) {
    const CounterRegistration registration(Introduction);
    field<unsigned char>("u8", {{1}});
    field<float>("float", {{1}});
    const auto offerOf = [](VAcceptList answer, const StrongPtr<Kesh::VObject>& object) {
        auto offer = Holdfast::create<Offer>(std::move(answer), object);
        EXPECT_TRUE(Kesh::registerVInput(typeid(int), offer));
        return offer;
    };
    const auto poor = Holdfast::create<Node>("poor");
    const auto refusing = offerOf(VAcceptList::refusal("not my kind"), poor);
    const auto second = offerOf(VAcceptList() & VAcceptInfo{"poor", 0.3}, poor);
    const auto empty = offerOf(VAcceptList() & VAcceptInfo{"nothing comes of it", 9}, nullptr);

    Node consumer("consumer");
    std::set<std::string> taken{"Counter.of.fields", "Counter.of.fields2"};
    const auto connectTo = [&](const StrongPtr<Kesh::VSlot>& offered) {
        return Kesh::connectFromAnything(consumer, *consumer.findSlot("in"), offered, typeid(int), *pool,
                                         [&](const std::string& name) { return taken.contains(name); });
    };
    const auto connected = [&](const std::string& name) {
        set(pool, owner, "field", selector(name));
        return connectTo(candidate.slot());
    };
    const auto best = connected("u8");
    ASSERT_TRUE(best.provider);
    ASSERT_EQ(best.provider->BaseName(), "Counter.of.fields3");
    EXPECT_EQ(consumer.in->source(), best.provider->findOutput("count"));
    EXPECT_EQ(best.provider->findSlot("field")->source(), candidate.slot());
    EXPECT_EQ(connected("float").provider, poor) << "the better one refuses";
    EXPECT_EQ(consumer.in->source(), poor->out.slot());

    Kesh::unregisterVInput(typeid(int), second);
    const auto none = connected("float");
    EXPECT_FALSE(none.connected || none.provider);
    EXPECT_EQ(none.refusals, ": It cannot be connected in between.\n"
                             "Counter.of.fields: Field \"float\" is none of the types unsigned char, unsigned short.\n"
                             ": not my kind");
    const auto noField = connectTo(consumer.go.slot());
    EXPECT_FALSE(noField.connected);
    EXPECT_TRUE(noField.refusals.find("Counter.of.fields: \"go\" offers no field.") != std::string::npos)
        << noField.refusals;
    const auto direct = connectTo(poor->out.slot());
    EXPECT_TRUE(direct.connected && !direct.provider) << "the types are the same";
    for (const auto& offer : {refusing, empty}) Kesh::unregisterVInput(typeid(int), offer);
}

TEST_F(Input, slotsThatWereNotMeantSaySo) {
    const Kesh::TypedSlot<int> second(owner, "in", 3);
    EXPECT_EQ(printed, "TypedSlot(VObject*that, const string&name, const T&initialValue, int expertLevel");
    EXPECT_EQ(owner.findSlot("in"), owner.in.slot());
    EXPECT_THROW(Kesh::TypedSlot<double>(owner, "in"), std::logic_error) << "of another type";
    EXPECT_THROW(Kesh::TypedSlot<int>(owner, "inn"), std::logic_error);
    printed.clear();
    const Kesh::TypedSlot<Kesh::VTime> slot(owner, "time", Kesh::VTime(3)); // of a type without value creator
    EXPECT_EQ(printed, "Typeslot has a problem, its creators were not registered!?\n");
    EXPECT_EQ(slot.get(*pool).seconds, 3);
    EXPECT_FALSE(slot->getValueBase(*pool));
}

} // namespace
} // namespace corvane::test
