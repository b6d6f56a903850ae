// Collects the contenders of all files.
#include "harness/contender.h"

namespace bench {

std::vector<contender> &contenders() {
    static std::vector<contender> all;
    return all;
}

contender::contender(std::string scenario_name, std::string contender_name, std::function<std::string()> check_results,
                     std::vector<work> works_to_time)
    : scenario(std::move(scenario_name)),
      name(std::move(contender_name)),
      check(std::move(check_results)),
      works(std::move(works_to_time)) {
    contenders().push_back(*this);
}

}  // namespace bench
