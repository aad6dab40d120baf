// The baseline of the executeQuery benchmark: libmsi itself opening the
// package and fetching every row of a query, each field read as text, in C++.
#include <libmsi.h>
#include <node.h>

#include <chrono>
#include <string>

#include "install/installer_ornel/interop_helpers/module_record.h"

namespace {

// rawQuery(hostPath, query) -> [rows, milliseconds]
void rawQuery(const v8::FunctionCallbackInfo<v8::Value>& info) {
  v8::Isolate* isolate = info.GetIsolate();
  v8::String::Utf8Value path(isolate, info[0]);
  v8::String::Utf8Value sql(isolate, info[1]);
  // The open is timed too: executeQuery opens the package on every call.
  const auto start = std::chrono::steady_clock::now();
  LibmsiDatabase* database = libmsi_database_new(*path, LIBMSI_DB_FLAGS_READONLY, nullptr, nullptr);
  if (database == nullptr) return;
  LibmsiQuery* query = libmsi_query_new(database, *sql, nullptr);
  LibmsiRecord* none = libmsi_record_new(0);
  libmsi_query_execute(query, none, nullptr);
  int rows = 0;
  size_t characters = 0;
  while (LibmsiRecord* row = libmsi_query_fetch(query, nullptr)) {
    const unsigned fields = libmsi_record_get_field_count(row);
    for (unsigned field = 1; field <= fields; ++field) {
      gchar* text = libmsi_record_get_string(row, field);
      if (text != nullptr) characters += std::char_traits<char>::length(text);
      g_free(text);
    }
    g_object_unref(row);
    ++rows;
  }
  const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  g_object_unref(none);
  g_object_unref(query);
  g_object_unref(database);
  v8::Local<v8::Context> context = isolate->GetCurrentContext();
  v8::Local<v8::Array> result = v8::Array::New(isolate, 2);
  result->Set(context, 0, v8::Integer::New(isolate, rows)).Check();
  result->Set(context, 1, v8::Number::New(isolate, ms + characters * 0.0)).Check();
  info.GetReturnValue().Set(result);
}

void initialize(v8::Local<v8::Object> exports) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  v8::Local<v8::Context> context = isolate->GetCurrentContext();
  exports->Set(context, v8::String::NewFromUtf8Literal(isolate, "rawQuery"),
               v8::FunctionTemplate::New(isolate, rawQuery)->GetFunction(context).ToLocalChecked()).Check();
}

}  // namespace

INSTALLER_ORNEL_MODULE(bench_raw_query, initialize)
