// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "survey/Survey.hpp"

#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// The values of a field as people write them: by number, range ("1-5"), list ("2,3"), or the name of a class. Names
/// are those of a label set, the survey's own and the standard ones, in this order, compared without regard to case,
/// blanks and punctuation; what stands in parentheses may be left out. Fields other than the classes have only the
/// names of the label set.
class ClassNames {
public:
    /// The field must be one that can be edited.
    ClassNames(const Survey& survey, const SurveyField& field, const Kesh::LabelSet& labels = {});

    /// The class that a word means. Throws UsageError, which begins with the option, with the nearest names, and for
    /// one that the field cannot hold.
    int value(const std::string& option, const std::string& word) const;

    /// The classes of a list in their order, each once; none for "any". Throws as above.
    std::optional<std::vector<int>> values(const std::string& option, const std::vector<std::string>& texts) const;

    int largest() const { return largest_; }

private:
    struct Name {
        int rank; // names of a lower one come first
        std::string plain, shown;
        int value;
    };
    void add(int rank, int value, const std::string& name);
    int named(const std::string& option, const std::string& word) const;
    void check(const std::string& option, int value) const;

    std::vector<Name> names_;
    int largest_;
    std::string holds_; // what the field holds, as the end of a sentence
};

} // namespace corvane
