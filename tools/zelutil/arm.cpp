// "arm report": response times per transaction from a trace of the arm4-trace
// runtime, one JSON object per line, fields it does not use ignored.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <type_traits>
#include <vector>

#include "commands.h"

namespace zelutil {
namespace {

struct Transactions {
  std::vector<std::int64_t> response_ns;
  int failures = 0;
};

struct LineError {
  std::string what;
};

// A required field of a trace line, of the JSON type `Type` ("a string", ...).
template <typename Type>
Type required(const nlohmann::json& line, const char* key, const char* type_name) {
  const auto found = line.find(key);
  if (found == line.end()) throw LineError{std::string("no \"") + key + "\""};
  const bool fits =
      std::is_same_v<Type, std::string> ? found->is_string() : found->is_number_integer();
  if (!fits) throw LineError{std::string("\"") + key + "\" is not " + type_name};
  return found->get<Type>();
}

// A line that cannot be read is named on standard error and left out; the
// report of the others still prints (a trace being written may end mid-line).
void skip_line(const std::string& path, long number, const std::string& why) {
  std::cerr << path << ':' << number << ": not a trace line, skipped: " << why << '\n';
}

// Microseconds with three decimals: exact for whole nanoseconds.
std::string microseconds(std::int64_t ns) {
  char text[32];
  std::snprintf(text, sizeof text, "%lld.%03lld", static_cast<long long>(ns / 1000),
                static_cast<long long>(ns % 1000));
  return text;
}

// The nearest-rank percentile of sorted values: the smallest value that at
// least p% of the values do not exceed.
std::int64_t percentile(const std::vector<std::int64_t>& sorted, int p) {
  const std::size_t rank = (sorted.size() * static_cast<std::size_t>(p) + 99) / 100;
  return sorted[std::max<std::size_t>(rank, 1) - 1];
}

constexpr int PERCENTILES[] = {50, 90, 99};

std::map<std::string, Transactions> read_trace(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw CommandError("cannot read '" + path + "'");
  std::map<std::string, Transactions> by_name;
  std::string line;
  for (long number = 1; std::getline(in, line); ++number) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    try {
      const nlohmann::json fields = nlohmann::json::parse(line);
      if (!fields.is_object()) throw LineError{"not a JSON object"};
      if (required<std::string>(fields, "event", "a string") != "stop_transaction") continue;
      const auto name = required<std::string>(fields, "name", "a string");
      const auto status = required<std::int64_t>(fields, "status", "a whole number");
      const auto response = required<std::int64_t>(fields, "response_ns", "a whole number");
      if (response < 0) throw LineError{"\"response_ns\" is negative"};
      Transactions& t = by_name[name];
      t.response_ns.push_back(response);
      if (status != 0) ++t.failures;  // anything but ARM_STATUS_GOOD
    } catch (const nlohmann::json::exception& e) {
      skip_line(path, number, e.what());
    } catch (const LineError& e) {
      skip_line(path, number, e.what);
    }
  }
  if (in.bad()) throw CommandError("cannot read '" + path + "'");
  for (auto& entry : by_name) {
    std::sort(entry.second.response_ns.begin(), entry.second.response_ns.end());
  }
  return by_name;
}

void print_table(const std::map<std::string, Transactions>& by_name) {
  std::cout << "transaction\tcount\tfailures";
  for (const int p : PERCENTILES) std::cout << "\tp" << p << "_us";
  std::cout << "\tmax_us\n";
  for (const auto& [name, t] : by_name) {
    std::cout << name << '\t' << t.response_ns.size() << '\t' << t.failures;
    for (const int p : PERCENTILES) std::cout << '\t' << microseconds(percentile(t.response_ns, p));
    std::cout << '\t' << microseconds(t.response_ns.back()) << '\n';
  }
}

// Whole nanoseconds rather than the table's microseconds: exact, and what a
// script compares most easily. Names that are not UTF-8 get U+FFFD.
void print_json(const std::map<std::string, Transactions>& by_name) {
  nlohmann::ordered_json transactions = nlohmann::ordered_json::array();
  for (const auto& [name, t] : by_name) {
    nlohmann::ordered_json row = {
        {"transaction", name}, {"count", t.response_ns.size()}, {"failures", t.failures}};
    for (const int p : PERCENTILES) {
      row["p" + std::to_string(p) + "_ns"] = percentile(t.response_ns, p);
    }
    row["max_ns"] = t.response_ns.back();
    transactions.push_back(std::move(row));
  }
  std::cout << nlohmann::ordered_json{{"transactions", std::move(transactions)}}.dump(
                   2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
            << '\n';
}

}  // namespace

void add_arm_commands(CLI::App& app) {
  auto* arm = app.add_subcommand("arm", "Read what the arm4-trace ARM runtime wrote");
  arm->require_subcommand(1);
  auto* report_command = arm->add_subcommand(
      "report",
      "Count, failures and response times per transaction. p50, p90 and p99 are nearest-rank "
      "percentiles (the smallest response time that at least that share of the transactions "
      "did not exceed), max the longest. A line that is not a trace line is named on standard "
      "error and skipped.");
  auto file = std::make_shared<std::string>();
  auto format = std::make_shared<std::string>("table");
  report_command->add_option("FILE", *file, "A trace file (ZEL_ARM_TRACE)")->required();
  report_command
      ->add_option("--format", *format,
                   "table: tab-separated, in microseconds; json: one object for scripts, in "
                   "nanoseconds")
      ->check(CLI::IsMember({"table", "json"}));
  report_command->callback([file, format] {
    const auto by_name = read_trace(*file);
    if (*format == "json") {
      print_json(by_name);
    } else {
      print_table(by_name);
    }
  });
}

}  // namespace zelutil
