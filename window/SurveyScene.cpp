// SPDX-License-Identifier: Apache-2.0
#include "window/SurveyScene.hpp"

#include "Fiber/FragmentBox.hpp"
#include "render/Extents.hpp"
#include "survey/SurveySample.hpp"

#include <cmath>
#include <map>
#include <mutex>
#include <thread>

namespace corvane {
namespace {

using Sextant::BoundingBox;

constexpr std::size_t SampledFrom = 3'000'000; // surveys with no more points are there as fast as a sample of them
constexpr std::size_t SamplePoints = 400'000;

/// The names of the fields that a column is made of.
std::vector<std::string> fieldsOfColumn(const std::string& column) {
    if (column == column::Rgb) return {"Red", "Green", "Blue"};
    if (column == column::Return) return {"ReturnNumber"};
    if (column == column::Intensity) return {"Intensity"};
    return {column};
}

unsigned threadsBesideTheWindow() { return std::max(2U, std::thread::hardware_concurrency()) - 1; }

/// As the header has it, as far as that can be.
BoundingBox headerBox(const Survey& survey) {
    const LasHeader& header = survey.las().header;
    const BoundingBox reach = survey.expressibleBox();
    BoundingBox box;
    box.include({header.minimum[0], header.minimum[1], header.minimum[2]});
    box.include({header.maximum[0], header.maximum[1], header.maximum[2]});
    box = box.within(reach);
    const auto finite = [](const glm::dvec3& p) { return std::isfinite(p.x + p.y + p.z); };
    return !box.empty() && finite(box.minimum) && finite(box.maximum) ? box : reach;
}

} // namespace

/// What comes from other threads, until the window takes it. Of pictures the newest of each view counts.
class SurveyScene::Mail : public std::enable_shared_from_this<Mail> {
public:
    Mail(QObject& receiver, Events events) : receiver_(&receiver), events_(std::move(events)) {}

    void picture(const PicturePtr& picture) {
        const std::lock_guard lock(mutex_);
        pictures_[picture->view] = picture;
        post();
    }
    void stock() {
        const std::lock_guard lock(mutex_);
        stock_ = true;
        post();
    }
    void failure(const std::string& sentence) {
        const std::lock_guard lock(mutex_);
        failures_.push_back(QString::fromStdString(sentence));
        post();
    }

    /// Nothing is delivered any more.
    void close() {
        const std::lock_guard lock(mutex_);
        receiver_ = nullptr;
    }

private:
    void post() {
        if (std::exchange(posted_, true) || !receiver_) return;
        QMetaObject::invokeMethod(
            receiver_, [mail = shared_from_this()] { mail->deliver(); }, Qt::QueuedConnection);
    }

    void deliver() {
        std::unique_lock lock(mutex_);
        posted_ = false;
        if (!receiver_) return;
        const auto pictures = std::exchange(pictures_, {});
        const auto failures = std::exchange(failures_, {});
        const bool stock = std::exchange(stock_, false);
        lock.unlock();
        for (const auto& [view, picture] : pictures) events_.finished(picture);
        for (const QString& failure : failures) events_.failed(failure);
        if (stock) events_.stockChanged();
    }

    std::mutex mutex_;
    QObject* receiver_;
    const Events events_;
    std::map<int, PicturePtr> pictures_;
    std::vector<QString> failures_;
    bool stock_ = false, posted_ = false;
};

SurveyScene::SurveyScene(QObject& receiver, Events events, std::size_t memoryBytes)
    : mail_(std::make_shared<Mail>(receiver, std::move(events))), memoryBytes_(memoryBytes) {}

SurveyScene::~SurveyScene() {
    mail_->close();
    close();
}

void SurveyScene::close() {
    letGo();
    survey_.reset();
}

/// Their threads are waited for elsewhere: a fragment that is being read takes its time.
void SurveyScene::letGo() {
    struct Ending {
        std::shared_ptr<const OpenSurvey> survey; // goes last
        std::shared_ptr<PointStore> store;
        std::unique_ptr<Renderer> renderer;
    };
    if (!store_) return;
    auto ending = std::make_shared<Ending>(Ending{survey_, std::move(store_), std::move(renderer_)});
    beside_.start([ending = std::move(ending)]() mutable { ending.reset(); });
}

void SurveyScene::show(const WorkbenchState& state) {
    if (state.open != survey_) return open(state);
    replace(column::Class, state.changedClasses, *state.classes);
    replace(column::Mask, state.changedMask, *state.selected);
}

void SurveyScene::open(const WorkbenchState& state) {
    letGo();
    survey_ = state.open;
    const auto& header = survey_->survey->las().header;
    PointStore::Options options;
    options.memoryBytes = memoryBytes_;
    options.threads = threadsBesideTheWindow();
    options.unit = {std::abs(header.scale[0]), std::abs(header.scale[1]), std::abs(header.scale[2])};
    options.changed = [mail = mail_] { mail->stock(); };
    options.failed = [mail = mail_](const std::string& sentence) { mail->failure(sentence); };
    store_ = std::make_shared<PointStore>(std::move(options));
    renderer_ = std::make_unique<Renderer>(
        *store_, [mail = mail_](const PicturePtr& picture) { mail->picture(picture); },
        [mail = mail_](const std::string& sentence) { mail->failure(sentence); }, threadsBesideTheWindow());

    const Fiber::Field& positions = *survey_->fields.at(Fiber::PositionsName);
    std::vector<PointStore::Source> sources;
    for (const auto& [number, fragment] : positions.fragments()) {
        PointStore::Source source;
        source.number = number;
        source.positions = fragment.array;
        source.columns[column::Class] = {state.classes->at(number)};
        const auto selected = state.selected->find(number);
        if (selected != state.selected->end()) source.columns[column::Mask] = {selected->second};
        for (const std::string& name : columns_) source.columns[name] = arraysOf(name, number);
        source.box = Fiber::knownFragmentBBox(positions, fragment.id);
        sources.push_back(std::move(source));
    }
    store_->load(std::move(sources));
    if (state.points > SampledFrom) showSampleMeanwhile();
}

/// What is shown until the fragments are there. It ends when the store has been let go of.
void SurveyScene::showSampleMeanwhile() {
    beside_.start([survey = survey_, store = std::weak_ptr(store_), mail = mail_] {
        const auto stillOpen = [&store](auto&&...) { return !store.expired(); };
        try {
            const SurveySample sample = sampleOf(survey->survey->las(), SamplePoints, Watch(stillOpen));
            const std::vector<std::uint16_t> classes(sample.classes.begin(), sample.classes.end());
            if (const auto open = store.lock()) open->showSample(sample.positions, classes);
        } catch (const Interrupted&) {
        } catch (const std::exception& error) {
            mail->failure(error.what());
        }
    });
}

void SurveyScene::replace(const std::string& column, const std::vector<std::uint32_t>& fragments,
                          const ArraysByFragment& arrays) {
    if (fragments.empty()) return;
    std::vector<std::pair<std::uint32_t, PointStore::Arrays>> replaced;
    for (const std::uint32_t number : fragments) {
        const auto array = arrays.find(number);
        replaced.emplace_back(number, array == arrays.end() ? PointStore::Arrays() : PointStore::Arrays{array->second});
    }
    store_->replace(column, std::move(replaced));
}

PointStore::Arrays SurveyScene::arraysOf(const std::string& column, std::uint32_t fragment) const {
    PointStore::Arrays arrays;
    for (const std::string& name : fieldsOfColumn(column)) {
        const auto field = survey_->fields.find(name);
        if (field == survey_->fields.end()) return {};
        arrays.push_back(field->second->fragments().at(fragment).array);
    }
    return arrays;
}

void SurveyScene::need(const std::set<std::string>& columns) {
    if (store_) {
        for (const std::string& name : columns_)
            if (!columns.contains(name)) store_->forget(name);
        for (const std::string& name : columns) {
            if (columns_.contains(name)) continue;
            std::vector<std::pair<std::uint32_t, PointStore::Arrays>> arrays;
            for (const auto& [number, fragment] : survey_->fields.at(Fiber::PositionsName)->fragments())
                arrays.emplace_back(number, arraysOf(name, number));
            store_->replace(name, std::move(arrays));
        }
    }
    columns_ = columns;
}

void SurveyScene::request(const PictureRequest& request, int view) {
    if (renderer_) renderer_->request(view, request);
}

void SurveyScene::activate(int view) {
    if (renderer_) renderer_->activate(view);
}

void SurveyScene::forget(int view) {
    if (renderer_) renderer_->forget(view);
}

void SurveyScene::prefer(std::vector<Screen> screens) {
    if (store_) store_->prefer(std::move(screens));
}

std::optional<std::pair<double, double>> SurveyScene::range(const std::string& column) const {
    if (!store_) return std::nullopt;
    const auto stock = store_->stock();
    return column.empty() ? heightRange(stock->fragments) : columnRange(stock->fragments, column);
}

BoundingBox SurveyScene::boxToShow() const {
    if (!store_) return {};
    const auto stock = store_->stock();
    return stock->fragments.empty() ? headerBox(*survey_->survey) : corvane::boxToShow(stock->fragments);
}

PointStore::Progress SurveyScene::progress() const { return store_ ? store_->progress() : PointStore::Progress(); }

} // namespace corvane
