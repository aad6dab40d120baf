// Field lists of records, declared by each record's owner without the
// script engine: the conversions (convert_record.h) read them.
//
//   template <> struct RecordFields<FeatureInfo> {
//     static constexpr auto fields = std::make_tuple(
//         field("name", &FeatureInfo::name),
//         field("installLevel", &FeatureInfo::installLevel));
//   };
#pragma once

#include <tuple>
#include <type_traits>

namespace node_interop::helpers {

template <typename Record>
struct RecordFields;

template <typename Record, typename Member>
struct Field {
  const char* name;
  Member Record::*member;
};

template <typename Record, typename Member>
constexpr Field<Record, Member> field(const char* name, Member Record::*member) {
  return {name, member};
}

template <typename T, typename = void>
struct IsRecord : std::false_type {};
template <typename T>
struct IsRecord<T, std::void_t<decltype(RecordFields<T>::fields)>> : std::true_type {};

}  // namespace node_interop::helpers
