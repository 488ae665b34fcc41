#pragma once

#include <initializer_list>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace zqm {

/// The two forms in which Prometheus takes metrics.
enum class MetricsFormat { text, openMetrics };

/// What the form is called in a request's "Accept" and in a reply's "Content-Type".
std::string_view contentType(MetricsFormat format);

struct Label {
    std::string_view name;  // empty: none
    std::string_view value;
};

/// What a figure belongs to: its family, a sentence about that, and where in the snapshot it stands.
struct MetricOrigin {
    std::string_view family;  // "…_total" is a counter, "…_info" a constant 1 whose labels are the figure
    std::string_view note;
    std::string_view source = {};
};

/// The families of one exposition in the order of their first sample: both forms want all samples of one together,
/// whichever places they come from.
class MetricFamilies {
public:
    /// A value that is not finite is left out, and so is a second one with the same labels, for which some readers
    /// refuse the whole text.
    void add(const MetricOrigin& origin, std::initializer_list<Label> labels, double value);
    std::string text(MetricsFormat format) const;

private:
    struct Family {
        std::string name;
        std::string help;
        std::string lastSource;
        std::set<std::string, std::less<>> series;
        std::string samples;
    };
    Family& familyOf(const MetricOrigin& origin);

    std::vector<Family> families_;
};

}  // namespace zqm
