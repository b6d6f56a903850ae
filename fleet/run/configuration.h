// What a collector is told by its configuration file.
#pragma once

#include "collector.h"
#include "rule.h"
#include "web.h"
#include "webhook.h"

namespace ptp_fleet {

struct run_configuration {
    collecting collect;
    double silent_after_s = 60;
    double lease_s = 10;
    int replicas = 1;       // of the buckets
    bool is_alone = false;  // no lease: nobody else may run
    std::vector<alarm_rule> rules;
    webhook_options hook;  // without a URL: none
    web_options web;       // listen empty: none
};

/** Throws std::runtime_error, which names file, line and key. @param file  empty: as it is without one */
run_configuration read_configuration(const std::string &file);

}  // namespace ptp_fleet
