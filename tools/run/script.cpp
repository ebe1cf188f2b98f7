#include "script.h"

#include <json/value.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "hav/json_text.h"
#include "host_file.h"

namespace run {
namespace {

std::string Trim(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string::npos) return std::string();
  return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

}  // namespace

bool ParseStep(const std::string& line, const std::string& folder, Step* step, std::string* error) {
  const std::string text = Trim(line);
  const std::size_t space = text.find(' ');
  const std::string verb = text.substr(0, space);
  const std::string rest = space == std::string::npos ? std::string() : Trim(text.substr(space));
  *step = Step{};
  step->text = text;
  auto fail = [&](const std::string& why) {
    *error = "the step '" + text + "' " + why;
    return false;
  };
  if (verb == "after" && rest == "first-call") {
    step->kind = Step::kFirstCall;
  } else if (verb == "after" && rest.rfind("call ", 0) == 0 && !Trim(rest.substr(5)).empty()) {
    step->kind = Step::kCall;
    step->argument = Trim(rest.substr(5));
  } else if (verb == "after") {
    return fail("waits for nothing known: 'after first-call' or 'after call NAME'");
  } else if (verb == "wait") {
    char* end = nullptr;
    step->seconds = std::strtod(rest.c_str(), &end);
    if (rest.empty() || *end != '\0' || !(step->seconds >= 0) || step->seconds > 3600)
      return fail("needs a number of seconds from 0 to 3600");
    step->kind = Step::kWait;
  } else if (verb == "press" && rest == "back") {
    step->kind = Step::kBack;
  } else if (verb == "close" && rest.empty()) {
    step->kind = Step::kClose;
  } else if (verb == "click" && !rest.empty()) {
    step->kind = Step::kClick;
    step->argument = rest;
  } else if (verb == "cancel" && rest == "chooser") {
    step->kind = Step::kCancel;
  } else if (verb == "pick" && !rest.empty()) {
    step->kind = Step::kPick;
    std::istringstream files(rest);
    for (std::string file; files >> file;) step->files.push_back(PathBeside(folder, file));
  } else if (verb == "answer" && !rest.empty()) {
    Json::Value json;
    if (!xhav::ParseJson(rest, &json)) return fail("answers with no JSON text");
    step->kind = Step::kAnswer;
    step->argument = rest;
  } else if (verb == "screenshot" && !rest.empty()) {
    step->kind = Step::kShot;
    step->argument = PathBeside(folder, rest);
  } else {
    return fail(
        "is not one of: after first-call, after call NAME, wait SECONDS, press back, close, "
        "click SELECTOR, cancel chooser, pick FILE..., answer JSON, screenshot FILE");
  }
  return true;
}

bool ReadScript(const std::string& path, std::vector<Step>* steps, std::string* error) {
  std::ifstream in(path);
  if (!in) {
    *error = path + ": cannot be read";
    return false;
  }
  std::error_code ignored;
  const std::string folder = std::filesystem::absolute(path, ignored).parent_path().string();
  int number = 0;
  for (std::string line; std::getline(in, line);) {
    ++number;
    const std::string text = Trim(line);
    if (text.empty() || text[0] == '#') continue;
    Step step;
    if (!ParseStep(text, folder, &step, error)) {
      *error = path + ":" + std::to_string(number) + ": " + *error;
      return false;
    }
    steps->push_back(std::move(step));
  }
  return true;
}

}  // namespace run
