// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/UpdateThread.hpp"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <mutex>

namespace corvane {

/// Hears the update thread and tells the window, on the window's thread. Of progress only the newest counts.
class UpdateMail : public UpdateListener {
public:
    struct Events {
        std::function<void(std::uint64_t call, const WorkbenchState&)> updated;
        std::function<void(std::uint64_t call, const QString& sentence, Why why)> failed;
        std::function<void(const StrokePreview&)> previewed;
        std::function<void(std::uint64_t call, const std::vector<std::pair<std::string, std::string>>&)> pointInfo;
        std::function<void(std::uint64_t call, const std::string& path)> recorded;
        std::function<void(std::uint64_t done, std::uint64_t total, const QString& work)> progress;
        std::function<void(const QString&)> note;
    };

    /// The receiver must live as long as this; what is on its way when it goes is dropped.
    UpdateMail(QObject& receiver, Events events) : receiver_(receiver), events_(std::move(events)) {}

private:
    void updated(std::uint64_t call, const WorkbenchState& state) override;
    void failed(std::uint64_t call, const std::string& sentence, Why why) override;
    void previewed(std::uint64_t call, const StrokePreview& preview) override;
    void pointInfo(std::uint64_t call, const std::vector<std::pair<std::string, std::string>>& fields) override;
    void recorded(std::uint64_t call, const std::string& path) override;
    void progress(std::uint64_t done, std::uint64_t total, const std::string& work) override;
    void note(const std::string& sentence) override;

    template <class Function>
    void post(Function function) {
        QMetaObject::invokeMethod(&receiver_, std::move(function), Qt::QueuedConnection);
    }

    struct Progress {
        std::uint64_t done = 0, total = 0;
        std::string work;
    };

    QObject& receiver_;
    const Events events_;
    std::mutex mutex_; // of the progress
    Progress progress_;
    bool posted_ = false;
};

} // namespace corvane
