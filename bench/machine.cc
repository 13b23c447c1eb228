// Where and when numbers were measured.
#include "machine.h"

#include <sched.h>

#include <unistd.h>

#include <ctime>
#include <fstream>

namespace vorel_bench {
namespace {

std::string processor() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);)
        if (line.rfind("model name", 0) == 0 && line.find(": ") != std::string::npos)
            return line.substr(line.find(": ") + 2);
    return "unknown processor";
}

std::string now() {
    char text[32];
    const std::time_t time = std::time(nullptr);
    std::tm parts;
    gmtime_r(&time, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", &parts);
    return text;
}

}  // namespace

std::string machine_line() {
    return processor() + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " cores; GCC " __VERSION__ "; " + now();
}

void stay_on_one_processor() {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(sched_getcpu()), &set);
    sched_setaffinity(0, sizeof set, &set);
}

}  // namespace vorel_bench
