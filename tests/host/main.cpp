#include "fixture.h"

#include "platform/store.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>

namespace host_test
{
namespace
{

std::string run_folder;

} // namespace

const std::string &folder()
{
    return run_folder;
}

void use_settings(const std::string &lines)
{
    const std::string &f = run_folder;
    put_contents(f + "/conf.new", "# settings of a test\n"
                                  "config_store = " +
                                      f +
                                      "/etc/config.db\n"
                                      "status_store = " +
                                      f +
                                      "/run/status.db\n"
                                      "event_log = " +
                                      f +
                                      "/log/events\n"
                                      "led_dir = " +
                                      f +
                                      "/led\n"
                                      "run_dir = " +
                                      f +
                                      "/run\n"
                                      "serviced_socket = " +
                                      f +
                                      "/serviced.sock\n"
                                      "upnp_socket = " +
                                      f +
                                      "/upnp.sock\n"
                                      "language_file = " LANGUAGE_FILE "\n" +
                                      lines);
    std::filesystem::rename(f + "/conf.new", f + "/conf");
}

pid_t start_child(const std::function<bool()> &body)
{
    pid_t child = fork();
    if (child == 0)
        _exit(body() ? 0 : 1);
    return child;
}

bool child_succeeded(pid_t child)
{
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool in_child(const std::function<bool()> &body)
{
    return child_succeeded(start_child(body));
}

bool wait_until(const std::function<bool()> &condition)
{
    constexpr int passes = 6000;
    for (int pass = 0; pass < passes; pass++) {
        if (condition())
            return true;
        usleep(10 * 1000);
    }
    return false;
}

std::set<std::string> declared_operations()
{
    std::set<std::string> names;
    const std::regex declaration("^(?:int |char \\*)([A-Za-z_0-9]+)\\(");
    for (const auto &entry : std::filesystem::directory_iterator(PLATFORM_HEADERS)) {
        if (entry.path().extension() != ".h" || entry.path().filename() == "iconv.h")
            continue;
        std::istringstream text(contents(entry.path()));
        std::smatch match;
        for (std::string line; std::getline(text, line);) {
            if (std::regex_search(line, match, declaration))
                names.insert(match[1]);
        }
    }
    return names;
}

int exit_status;

std::string nasctl(const std::string &arguments, const std::string &input)
{
    return output_of("printf '" + input + "' | " NASCTL " " + arguments + " 2>&1", &exit_status);
}

std::string stored(const std::string &key)
{
    char value[NAS_STORE_VALUE_SIZE];
    return iconfig_get_value_direct(key.c_str(), value) == 0 ? value : "absent";
}

} // namespace host_test

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    char name[] = "/tmp/nashost-test.XXXXXX";
    if (mkdtemp(name) == nullptr)
        return 1;
    host_test::run_folder = name;
    setenv("NAS_HOST_CONF", (host_test::folder() + "/conf").c_str(), 1);
    host_test::use_settings();
    // Where the lock should be that every callback needs stands a folder: nasctl cannot run one on this machine.
    std::filesystem::create_directories(host_test::folder() + "/run/worker.lock");
    int result = RUN_ALL_TESTS();
    std::filesystem::remove_all(host_test::folder());
    return result;
}
