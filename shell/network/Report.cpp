// SPDX-License-Identifier: Apache-2.0
#include "network/Report.hpp"

namespace corvane {

Report reportOf(const Network& network, const std::string& object) {
    const Fiber::FieldSelector field = network.selectorOf(object);
    Report report{object, network.status(object), field.getFieldName(), {}, network.selectedPoints(object), {}};
    report.histogram = network.histogramOf(object);
    if (report.histogram) {
        report.counts = classCounts(*report.histogram);
        report.clean =
            !report.histogram->isConsistent() || (report.histogram->complete && !report.histogram->outOfDate);
        return report;
    }
    const Count count = countPoints(network.survey(), {.field = field}, network.watch());
    report.counts = classCounts(count.histogram);
    report.clean = count.complete();
    return report;
}

} // namespace corvane
