#pragma once

#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace zqm {

/// What a number counts; encoders that name units (metrics for other systems) read it.
enum class Unit { none, ratio, bytes, bytesPerSecond, megahertz, celsius, watts, wattHours, minutes, seconds, count };

/// One field of a record: its name on the wire, its place and its unit.
template <class Record, class Value>
struct Field {
    std::string_view name;
    Value Record::*member;
    Unit unit = Unit::none;
};
template <class Record, class Value>
Field(std::string_view, Value Record::*) -> Field<Record, Value>;
template <class Record, class Value>
Field(std::string_view, Value Record::*, Unit) -> Field<Record, Value>;

/// The table of a record's fields in declaration order, `static constexpr std::tuple fields{Field{…}, …}`; the one
/// place that encoding, decoding and every other walk over a record are driven from.
template <class Record>
struct Schema;

template <class Record>
concept HasSchema = requires {
    Schema<Record>::fields;
};

/// Calls `visit(field)` for each field of the record in declaration order.
template <HasSchema Record, class Visitor>
constexpr void forEachField(Visitor&& visit) {
    std::apply([&](const auto&... field) { (visit(field), ...); }, Schema<Record>::fields);
}

namespace detail {

struct AnyValue {
    template <class Value>
    operator Value() const;
};

template <class Record, std::size_t... index>
constexpr bool takesValues(std::index_sequence<index...>) {
    return requires {
        Record{(static_cast<void>(index), AnyValue{})...};
    };
}

}  // namespace detail

/// The number of members of an aggregate.
template <class Record, std::size_t candidate = 24>
constexpr std::size_t arity() {
    static_assert(std::is_aggregate_v<Record>);
    if constexpr (candidate == 0 || detail::takesValues<Record>(std::make_index_sequence<candidate>{})) {
        return candidate;
    } else {
        return arity<Record, candidate - 1>();
    }
}

/// Whether the table names as many fields as the record has: a field that is added to one alone does not compile.
template <HasSchema Record>
constexpr bool isComplete = std::tuple_size_v<std::remove_cvref_t<decltype(Schema<Record>::fields)>> == arity<Record>();

}  // namespace zqm
