#include "Platform/Machine/MachineDetails.h"

#include <algorithm>
#include <utility>

namespace zqm {
namespace {

void add(std::vector<SensorFigure>& figures, const std::string& name, double value) {
    std::string unique = name;
    for (int number = 2;
         std::any_of(figures.begin(), figures.end(), [&](const SensorFigure& figure) { return figure.name == unique; });
         ++number) {
        unique = name + " " + std::to_string(number);
    }
    figures.push_back({std::move(unique), value});
}

}  // namespace

void addTemperature(std::vector<SensorFigure>& figures, const std::string& name, double celsius) {
    constexpr double coldest = -60;
    constexpr double hottest = 200;
    if (celsius > coldest && celsius < hottest && celsius != 0) add(figures, name, celsius);
}

void addFan(std::vector<SensorFigure>& figures, const std::string& name, double turnsPerMinute) {
    constexpr double fastest = 100'000;
    if (turnsPerMinute >= 0 && turnsPerMinute < fastest) add(figures, name, turnsPerMinute);
}

}  // namespace zqm
