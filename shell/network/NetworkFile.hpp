// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "geo/SurveyPolygons.hpp"
#include "network/Network.hpp"
#include "network/Report.hpp"
#include "json/Reader.hpp"

#include <functional>
#include <string>

namespace corvane {

/// What a network file may do besides changing data.
struct NetworkHooks {
    std::function<void(const Report&)> report;
    std::function<void(const std::string& path, bool overwrite)> save;
    std::function<void()> acted; ///< after each action, before what it reports and saves; may be empty
    std::function<void(const std::string& sentence)> note; ///< what is no mistake, but may not be meant
    bool strict = false;                                   ///< a stroke or limit that meets no point is a mistake
    PolygonOptions polygons = {};                          ///< of those that the file names
};

/// A network file (docs/network.md, docs/network.schema.json): objects, connections and actions.
class NetworkFile {
public:
    /// `name` begins the messages. Throws UsageError when the text is not JSON or the top level has unknown keys.
    NetworkFile(const std::string& text, const std::string& name);

    /// The survey that the file names; empty when it names none.
    std::string surveyPath() const;

    /// Makes the objects and connections, sets the initial values, and runs the actions one after another. Unknown
    /// names and unsuitable values throw UsageError with their place; an action that fails throws Failure with its
    /// number, and what it was to change stays as it was.
    void run(Network& network, const NetworkHooks& hooks) const;

private:
    json::Reader root() const { return json::Reader(document_); }

    json::Document document_;
};

} // namespace corvane
