// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "geo/GeoInterface.hpp"

#include <memory>
#include <proj.h>
#include <string>

namespace corvane {

struct PjDeleter {
    void operator()(PJ* object) const { proj_destroy(object); }
};

/// Must not outlive its Proj.
using Pj = std::unique_ptr<PJ, PjDeleter>;

/// Keeps every context that is made later from printing, those of GDAL and its helpers, too.
void silenceProj();

/// PROJ with a context of its own, that says nothing by itself and stays off the network.
class Proj {
public:
    /// Throws Failure when its database is not there.
    Proj();

    PJ_CONTEXT* context() const { return context_.get(); }

    /// The horizontal part of a system. `whose` begins messages: "the polygons". Throws Failure when it is not
    /// understood, or is no projected or geographic system.
    Pj horizontal(const StatedCrs& crs, const std::string& whose);

    /// What is left without a shift to another datum that is written into it; the same system when there is none.
    Pj withoutShift(const PJ* crs);

    /// With the code, if it has one.
    std::string nameOf(const PJ* crs) const;

    /// Whether two systems are the same, the order of the axes aside.
    bool same(const PJ* one, const PJ* other) const;

    /// In metres; of degrees along a great circle.
    double metresPerUnit(const PJ* crs) const;

    /// What PROJ complained of last.
    const std::string& message() const { return message_; }

private:
    Pj create(const std::string& text);
    Pj named(const std::string& code);
    Pj part(const PJ* crs);
    std::string codeOf(const PJ* crs) const;

    std::string message_;
    std::unique_ptr<PJ_CONTEXT, PJ_CONTEXT* (*)(PJ_CONTEXT*)> context_;
};

} // namespace corvane
