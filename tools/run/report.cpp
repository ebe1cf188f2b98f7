#include "report.h"

#include <json/value.h>
#include <json/writer.h>

#include <sstream>

namespace run {
namespace {

std::string Line(const Mistake& m) { return m.kind + ": " + m.detail; }

// Text as XML character data or an attribute's value.
std::string Xml(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        // XML 1.0 takes no control characters but tab, line feed and carriage return.
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r') {
          out += ' ';
        } else {
          out += c;
        }
    }
  }
  return out;
}

}  // namespace

std::string JsonReport(const std::vector<Counted>& mistakes, const std::string& outcome,
                       double seconds) {
  Json::Value root;
  root["outcome"] = outcome;
  root["seconds"] = seconds;
  root["mistakes"] = Json::Value(Json::arrayValue);
  for (const Counted& c : mistakes) {
    Json::Value item;
    item["kind"] = c.mistake.kind;
    item["detail"] = c.mistake.detail;
    item["times"] = c.times;
    root["mistakes"].append(item);
  }
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, root) + "\n";
}

std::string JunitReport(const std::vector<Counted>& mistakes, const std::string& outcome,
                        double seconds) {
  std::ostringstream out;
  const std::size_t cases = mistakes.empty() ? 1 : mistakes.size();
  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      << "<testsuite name=\"tnwebui-run\" tests=\"" << cases << "\" failures=\"" << mistakes.size()
      << "\" time=\"" << seconds << "\">\n";
  out << "  <properties><property name=\"outcome\" value=\"" << Xml(outcome)
      << "\"/></properties>\n";
  if (mistakes.empty()) out << "  <testcase classname=\"tnwebui-run\" name=\"no mistakes\"/>\n";
  for (const Counted& c : mistakes) {
    out << "  <testcase classname=\"tnwebui-run." << Xml(c.mistake.kind) << "\" name=\""
        << Xml(c.mistake.detail) << "\">\n    <failure message=\"" << Xml(c.mistake.kind) << "\">"
        << Xml(Line(c.mistake)) << " (" << c.times << (c.times == 1 ? " time" : " times")
        << ")</failure>\n  </testcase>\n";
  }
  out << "</testsuite>\n";
  return out.str();
}

bool CompareWithExpected(const std::vector<Counted>& mistakes, const std::string& expected,
                         std::vector<std::string>* differences) {
  std::vector<bool> matched(mistakes.size(), false);
  std::istringstream lines(expected);
  for (std::string line; std::getline(lines, line);) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
    const std::size_t begin = line.find_first_not_of(' ');
    if (begin == std::string::npos || line[begin] == '#') continue;
    line = line.substr(begin);
    bool found = false;
    for (std::size_t i = 0; i < mistakes.size() && !found; ++i) {
      if (!matched[i] && Line(mistakes[i].mistake).rfind(line, 0) == 0) matched[i] = found = true;
    }
    if (!found) differences->push_back("missing: " + line);
  }
  for (std::size_t i = 0; i < mistakes.size(); ++i) {
    if (!matched[i]) differences->push_back("unexpected: " + Line(mistakes[i].mistake));
  }
  return differences->empty();
}

}  // namespace run
