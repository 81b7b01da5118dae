#include <filesystem>
#include <iostream>

#include "tools/cli/cli_app.h"
#include "tools/cli/saved_language.h"

int main(int argc, char** argv) {
    std::error_code ec;
    std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    std::string exeDir =
        ec ? std::filesystem::absolute(argv[0]).parent_path().string() : exe.parent_path().string();
    talvo::cli::Environment env{std::cin,  std::cout,
                                std::cerr, talvo::paths::systemEnv(),
                                exeDir,    &talvo::cli::savedLanguage};
    std::vector<std::string> args(argv + 1, argv + argc);
    return talvo::cli::run(args, env);
}
