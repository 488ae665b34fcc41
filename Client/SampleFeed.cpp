#include "Client/SampleFeed.h"

#include <algorithm>
#include <utility>

#include "Client/Terminal.h"
#include "Client/Texts.h"
#include "Platform/Process/Clock.h"
#include "Platform/Process/Dispatch.h"
#include "Platform/Process/Log.h"
#include "Platform/Process/MainLoop.h"

namespace zqm {

SampleFeed::SampleFeed(Ask ask, Take take, Seconds interval, const Services& services)
    : ask_(std::move(ask)),
      take_(std::move(take)),
      interval_(interval),
      services_(services),
      questions_(services.dispatch.makeQueue("zqm.samples", 1)) {}

SampleFeed::~SampleFeed() = default;

void SampleFeed::start() {
    services_.mainLoop.post([this] { questions_->post([this] { question(); }); });
}

void SampleFeed::question() {
    HelperAnswer answer = ask_();
    noteProblem(answer);
    services_.mainLoop.postAfter(untilNextQuestion(answer), [this] { questions_->post([this] { question(); }); });
    take_(std::move(answer));
}

/// In the middle between two samples none is missed, and none seen twice.
Seconds SampleFeed::untilNextQuestion(const HelperAnswer& answer) const {
    const auto* const reply = std::get_if<SnapshotReply>(&answer);
    if (!reply) return std::clamp(interval_, Seconds(1), Seconds(15));
    const Seconds age = services_.clock.wall() - reply->snapshot.timestamp;
    const Seconds untilMiddle = std::clamp(1.5 * interval_ - age, 0.5 * interval_, 1.5 * interval_);
    return std::clamp(untilMiddle, Seconds(0.1), Seconds(60));  // whatever the preferences say
}

void SampleFeed::noteProblem(const HelperAnswer& answer) {
    const auto* const error = std::get_if<HelperError>(&answer);
    std::string problem = error ? printable(error->message) : std::string();
    if (problem == problem_) return;
    services_.log.print("zephlon: " + (error ? problem : said("the helper answers again")));
    problem_ = std::move(problem);
}

}  // namespace zqm
