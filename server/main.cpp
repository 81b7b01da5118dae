#include <cstdlib>
#include <iostream>

#include "server/server_cli.h"

int main(int argc, char** argv) {
    talvo::server::CliEnvironment env{
        std::cout, std::cerr, [](const std::string& name) -> std::optional<std::string> {
            const char* value = std::getenv(name.c_str());
            return value ? std::optional<std::string>(value) : std::nullopt;
        }};
    return talvo::server::runCli(std::vector<std::string>(argv + 1, argv + argc), env);
}
