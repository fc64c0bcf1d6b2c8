// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/Workbench.hpp"

#include <functional>
#include <memory>
#include <string>

namespace corvane {

/// Hears what became of the calls to an UpdateThread. Called on its threads, one at a time; must not wait for whoever
/// called, nor call the UpdateThread. Nothing is called after the UpdateThread is gone.
class UpdateListener {
public:
    virtual ~UpdateListener() = default;

    /// A survey was opened, a call was done, or (call 0) the classes were counted: how everything is now.
    virtual void updated(std::uint64_t call, const WorkbenchState& state) = 0;

    enum class Why {
        Error,
        Interrupted, ///< by cancel
        NoStore,     ///< a survey can be opened if a path of a store is given that can be made
    };

    /// A call has changed nothing.
    virtual void failed(std::uint64_t call, const std::string& sentence, Why why) = 0;

    virtual void previewed(std::uint64_t call, const StrokePreview& preview) = 0;
    virtual void pointInfo(std::uint64_t call, const std::vector<std::pair<std::string, std::string>>& fields) = 0;
    virtual void recorded(std::uint64_t call, const std::string& path) = 0;

    /// How far what goes on has come; total 0: nothing goes on any more.
    virtual void progress(std::uint64_t done, std::uint64_t total, const std::string& work) = 0;

    /// A finished sentence that is worth knowing.
    virtual void note(const std::string& sentence) = 0;
};

/// Where the edits of a survey are kept.
struct StorePlace {
    std::string path;         ///< empty: where the session has it
    bool onlyIfThere = false; ///< else where the session has it, too
};

/// The one owner of a Workbench, on a thread of its own, and a second one for previews. All calls return at once with a
/// number, by which the listener hears of the answer; they are done one after the other, in their order. When nothing
/// is to be done the classes are counted until they are complete.
class UpdateThread {
public:
    /// The listener must outlive this. `options.watch` and `options.note` are not used: the listener hears.
    UpdateThread(UpdateListener& listener, SessionOptions options);

    /// Stops what goes on, drops what waits, and joins. The survey's edits are kept.
    ~UpdateThread();
    UpdateThread(const UpdateThread&) = delete;
    UpdateThread& operator=(const UpdateThread&) = delete;

    /// Opens a survey, in the place of one that is open. When that fails none is open.
    std::uint64_t open(const std::string& path, const StorePlace& store = {});

    /// As in Workbench.
    std::uint64_t select(const Stroke& stroke, Selecting how, const SelectionRule& rule);
    std::uint64_t assign(int value, const SelectionRule& rule = {});
    std::uint64_t selectAndAssign(const Stroke& stroke, const SelectionRule& rule, int value);
    std::uint64_t clearMask();
    std::uint64_t undo();
    std::uint64_t redo();
    std::uint64_t undoMask();
    std::uint64_t redoMask();
    std::uint64_t goToStep(Which history, int done);
    std::uint64_t setLocked(int value, bool locked);
    std::uint64_t setLabel(int value, const std::string& name, const Sextant::rgba_float_t& colour);
    std::uint64_t saveCopy(const std::string& path, bool overwrite);
    std::uint64_t saveInPlace();

    /// Writes the record as a network file, in the place of one that is there.
    std::uint64_t saveRecord(const std::string& path);

    std::uint64_t pointInfo(std::uint32_t fragment, std::size_t index);

    /// Says what a stroke would do to the last state. The newest wins: one that is asked for before is stopped, and
    /// not answered. Goes beside everything else.
    std::uint64_t preview(const Stroke& stroke, Selecting how, const SelectionRule& rule, int value);
    void stopPreview();

    /// Stops the call that goes on; those that wait are done. Without one, stops counting until a survey is opened.
    void cancel();

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace corvane
