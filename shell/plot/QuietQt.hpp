// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QApplication>

#include <array>

namespace corvane {

/// What drawing texts needs of Qt, without a display and with nothing printed: pictures are the same whatever desktop
/// the user has. At most one at a time. Throws Failure when there are no fonts.
class QuietQt {
public:
    QuietQt();

private:
    /// Takes standard error away, since the libraries below Qt write to it by themselves.
    struct Silence {
        Silence();
        ~Silence();
    };

    Silence silence_; // begins before Qt does and ends after it
    std::array<char*, 4> arguments_;
    int count_ = 3;
    QApplication application_;
};

} // namespace corvane
