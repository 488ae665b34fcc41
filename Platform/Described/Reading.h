#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Apple/PropertyValue.h"
#include "Platform/Described/MachineModel.h"

namespace zqm {

/// The member under `key`; null when there is none, or no object.
const Json* memberOf(const Json* object, std::string_view key);
/// The member under `inner` of the object under `key`.
inline const Json* memberOf(const Json* object, std::string_view key, std::string_view inner) {
    return memberOf(memberOf(object, key), inner);
}

/// One reading of described values: one call through the seam, all of it at one instant. nullopt and null mean that the
/// description lets this reading fail or, where the node is null, leaves out what is read.
///
/// Each list that is asked for moves on by one, so whoever reads a record asks for all of its values even when the
/// first one has failed: lists of one record then stay in step.
class Reading {
public:
    explicit Reading(MachineModel& model) : model_(model), elapsed_(model.clock.monotonic() - model.begin) {}

    /// The value itself, or the list's element whose turn it is.
    const Json* value(const Json* node);
    std::optional<std::uint64_t> count(const Json* node);
    std::optional<std::int64_t> integer(const Json* node);
    std::optional<double> real(const Json* node);
    std::optional<PropertyValue> property(const Json* node);
    std::optional<std::string> text(const Json* node);
    /// The value of a "bytes" form: hexadecimal digits, an integer of stated width, or an array of such parts.
    std::optional<Bytes> bytes(const Json& parts);

private:
    double change(const Json& moving) const;
    std::int64_t growth(const Json& moving) const;
    PropertyValue number(const Json& node) const;
    PropertyValue dictionary(const Json& members);
    bool appendPart(Bytes& bytes, const Json& part);

    MachineModel& model_;
    Seconds elapsed_;
};

}  // namespace zqm
