// SPDX-License-Identifier: Apache-2.0
#include "window/Screenshot.hpp"

#include "base/Failure.hpp"
#include "base/OutputFile.hpp"

#include <QApplication>
#include <QBuffer>
#include <QPixmap>

#include <span>

namespace corvane {
namespace {

constexpr int LookEvery = 40, QuietTimes = 4; // milliseconds; times

} // namespace

Screenshot::Screenshot(MainWindow& window, const WindowOptions& options) : window_(window), options_(options) {
    QObject::connect(&timer_, &QTimer::timeout, &window, [this] { look(); });
    timer_.start(LookEvery);
}

void Screenshot::look() {
    const bool refused = window_.failed() && !window_.work().isOpen();
    if (refused) failure_ = window_.said().toStdString();
    quiet_ = refused || (window_.work().isComplete() && window_.work().state().countsComplete) ? quiet_ + 1 : 0;
    if (quiet_ < QuietTimes) return;
    timer_.stop();
    if (!refused) write();
    QApplication::exit(0);
}

void Screenshot::write() {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    window_.grab().save(&buffer, "PNG");
    try {
        OutputFile file(options_.screenshot, options_.overwrite);
        file.write(std::as_bytes(std::span(bytes.constData(), static_cast<std::size_t>(bytes.size()))));
        file.commit();
    } catch (const std::exception& error) { // nothing may be thrown through the event loop
        failure_ = error.what();
    }
}

void Screenshot::check() const {
    if (!failure_.empty()) throw Failure(failure_);
}

} // namespace corvane
