// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Representation.hpp"

#include <map>
#include <string>

namespace Fiber {

/// A set of vertices, e.g. the points of a survey, and what is known on them.
class Grid : public Holdfast::Managed {
public:
    /// The fields on the vertices.
    Representation& vertices() { return *vertices_; }
    const Holdfast::StrongPtr<Representation>& verticesPtr() const { return vertices_; }

    /// The fields on the lines between the vertices.
    Representation& lines() { return *lines_; }

private:
    Holdfast::StrongPtr<Representation> vertices_ = Holdfast::create<Representation>();
    Holdfast::StrongPtr<Representation> lines_ = Holdfast::create<Representation>();
};

/// The grids that exist at one time, by name.
class Slice : public Holdfast::Managed {
public:
    /// Makes an empty grid when there is none of that name.
    Holdfast::StrongPtr<Grid> operator[](const std::string& name);
    Holdfast::StrongPtr<Grid> find(const std::string& name) const;

private:
    std::map<std::string, Holdfast::StrongPtr<Grid>> grids_;
};

/// Data over time.
class Bundle : public Holdfast::Managed {
public:
    /// Not in this header: the code of a bundle must stay when a plug-in that made one goes.
    ~Bundle() override;

    /// Makes an empty slice when there is none at that time.
    Holdfast::StrongPtr<Slice> operator[](double time);
    Holdfast::StrongPtr<Slice> find(double time) const;

private:
    std::map<double, Holdfast::StrongPtr<Slice>> slices_;
};

} // namespace Fiber
