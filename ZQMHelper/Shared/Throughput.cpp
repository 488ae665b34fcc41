#include "ZQMHelper/Shared/Throughput.h"

#include "Support/CounterRate.h"

namespace zqm {

ByteRates Throughput::update(BytePair current, MonotonicTime now) {
    ByteRates rates;
    if (previous_) {
        const double seconds = (now - previous_->time).count();
        rates.incoming = ratePerSecond(previous_->bytes.incoming, current.incoming, seconds);
        rates.outgoing = ratePerSecond(previous_->bytes.outgoing, current.outgoing, seconds);
    }
    previous_ = Reading{current, now};
    return rates;
}

}  // namespace zqm
