#pragma once

// tnwebui-run's report of a run's mistakes in the forms CI tools read (--report json|junit FILE),
// and the comparison with an expected report (--expect FILE).

#include <string>
#include <vector>

#include "watch.h"

namespace run {

// The run's mistakes as JSON: {"outcome", "seconds", "mistakes": [{"kind", "detail", "times"}]}.
std::string JsonReport(const std::vector<Counted>& mistakes, const std::string& outcome,
                       double seconds);
// The same as a JUnit test suite: one test case a mistake (failed), or one passing case when
// there is none.
std::string JunitReport(const std::vector<Counted>& mistakes, const std::string& outcome,
                        double seconds);

// Compares the mistakes with an expected report's lines ("kind: detail", as --check prints them
// without their indent; a line matches a mistake whose line begins with it; blank lines and
// lines beginning with "#" are skipped). Each difference is one line of `differences`: "missing:
// LINE" for an expected line no mistake matched, "unexpected: LINE" for a mistake no line did.
// True when there is none.
bool CompareWithExpected(const std::vector<Counted>& mistakes, const std::string& expected,
                         std::vector<std::string>* differences);

}  // namespace run
