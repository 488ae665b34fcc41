#pragma once

namespace zqm {

/// How a command ends; part of the documented interface of `zephlon`.
enum class ExitStatus : int {
    success = 0,
    failure = 1,       // what was asked for could not be done: output not written, defaults not stored
    usage = 2,         // an unknown option, a value that is not allowed
    helperAway = 3,    // no helper has run yet, or none listens
    helperSilent = 4,  // it accepts the connection and does not answer in time
    tokenRefused = 5,  // the helper answers 403, or the token's file is not the user's own
    otherVersion = 6,  // the answer is not the one that this version knows
};

}  // namespace zqm
