// SPDX-License-Identifier: Apache-2.0
#include "window/UpdateMail.hpp"

#include <utility>

namespace corvane {

void UpdateMail::updated(std::uint64_t call, const WorkbenchState& state) {
    post([this, call, state] { events_.updated(call, state); });
}

void UpdateMail::failed(std::uint64_t call, const std::string& sentence, Why why) {
    post([this, call, text = QString::fromStdString(sentence), why] { events_.failed(call, text, why); });
}

void UpdateMail::previewed(std::uint64_t, const StrokePreview& preview) {
    post([this, preview] { events_.previewed(preview); });
}

void UpdateMail::pointInfo(std::uint64_t call, const std::vector<std::pair<std::string, std::string>>& fields) {
    post([this, call, fields] { events_.pointInfo(call, fields); });
}

void UpdateMail::recorded(std::uint64_t call, const std::string& path) {
    post([this, call, path] { events_.recorded(call, path); });
}

void UpdateMail::progress(std::uint64_t done, std::uint64_t total, const std::string& work) {
    const std::lock_guard lock(mutex_);
    progress_ = {done, total, work};
    if (std::exchange(posted_, true)) return;
    post([this] {
        std::unique_lock newest(mutex_);
        posted_ = false;
        const Progress progress = progress_;
        newest.unlock();
        events_.progress(progress.done, progress.total, QString::fromStdString(progress.work));
    });
}

void UpdateMail::note(const std::string& sentence) {
    post([this, text = QString::fromStdString(sentence)] { events_.note(text); });
}

} // namespace corvane
