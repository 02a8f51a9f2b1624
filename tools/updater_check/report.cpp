#include "updater_check/report.h"

#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace conformance {

namespace {

using Json = nlohmann::ordered_json;

// What was seen may hold any bytes.
std::string Dump(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// Each line of the text as one of a comment; control characters would move the cursor.
std::string Comment(const std::string& title, const std::string& text) {
  std::string comment;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    for (char& byte : line) {
      if (static_cast<unsigned char>(byte) < ' ' || byte == '\x7F') byte = '?';
    }
    const std::string margin = comment.empty() ? title + ": " : std::string(title.size() + 2, ' ');
    comment.append("# ").append(margin).append(line).append("\n");
  }
  return comment;
}

Json ToJson(const Result& result) {
  switch (result.kind) {
    case Result::Kind::kSkipped:
      return {{"skipped", result.reason}};
    case Result::Kind::kBroken:
      return {{"expected", result.expected}, {"seen", result.seen}, {"files", result.files}};
    case Result::Kind::kHolds:
      break;
  }
  return Json::object();
}

}  // namespace

std::string Pack(const Result& result) { return Dump(ToJson(result)); }

Result Unpack(const std::string& text) {
  const Json object = Json::parse(text, nullptr, false);
  if (!object.is_object()) {
    return {
        Result::Kind::kBroken, "the check comes to an end", "it has died, or was ended", {}, {}};
  }
  if (object.contains("skipped")) {
    return {Result::Kind::kSkipped, {}, {}, {}, object["skipped"].get<std::string>()};
  }
  if (!object.contains("expected")) return {};
  return {Result::Kind::kBroken,
          object["expected"].get<std::string>(),
          object["seen"].get<std::string>(),
          object["files"].get<std::vector<std::string>>(),
          {}};
}

void Report::Begin(std::size_t count) const {
  if (!json_) std::cout << "TAP version 13\n1.." << count << std::endl;
}

void Report::Add(const Check& check, const Result& result) {
  ++number_;
  const bool holds = result.kind != Result::Kind::kBroken;
  if (!holds) ++broken_;
  if (json_) {
    Json object = {{"number", number_},
                   {"name", check.name},
                   {"ok", holds},
                   {"promise", check.promise},
                   {"rule", "docs/updater.md#" + std::string(check.rule)}};
    object.update(ToJson(result));
    std::cout << Dump(object) << std::endl;
    return;
  }
  std::cout << (holds ? "ok " : "not ok ") << number_ << " - " << check.name << ": "
            << check.promise;
  if (result.kind == Result::Kind::kSkipped) std::cout << " # SKIP " << result.reason;
  std::cout << '\n';
  if (!holds) {
    std::cout << Comment("expected", result.expected) << Comment("seen", result.seen);
    for (const std::string& file : result.files) std::cout << Comment("file", file);
    std::cout << Comment("rule", "docs/updater.md#" + std::string(check.rule));
  }
  std::cout << std::flush;
}

void Report::BailOut(const std::string& reason) const {
  if (json_) {
    std::cout << Dump({{"bail_out", reason}}) << std::endl;
  } else {
    std::cout << "Bail out! " << reason << std::endl;
  }
}

}  // namespace conformance
