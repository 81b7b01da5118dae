// Recognising a terminal emulator by the process behind a window.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "app/platform/selection/linux/terminal_process.h"
#include "core/tests/fixture_dict.h"

using namespace talvo;
namespace fs = std::filesystem;

TEST(TerminalProcessTest, APseudoTerminalMasterOrATerminalsExecutableGivesItAway) {
    // This test program is no terminal until it opens a pty master.
    EXPECT_FALSE(linuxproc::isTerminalProcess(getpid()));
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    EXPECT_TRUE(linuxproc::isTerminalProcess(getpid()));
    close(master);
    EXPECT_FALSE(linuxproc::isTerminalProcess(getpid()));

    // A child that only holds the slave side (a shell in a terminal) is not one.
    const int parent = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(parent, 0);
    ASSERT_EQ(grantpt(parent), 0);
    ASSERT_EQ(unlockpt(parent), 0);
    const std::string slaveName = ptsname(parent);
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        close(parent);
        const int slave = open(slaveName.c_str(), O_RDWR | O_NOCTTY);
        const char opened = slave >= 0 ? 'y' : 'n';
        (void)!write(ready[1], &opened, 1);
        pause();
        _exit(0);
    }
    char opened = 0;
    ASSERT_EQ(read(ready[0], &opened, 1), 1);
    EXPECT_EQ(opened, 'y');
    close(parent);  // only now: a slave cannot be opened once its master is gone
    EXPECT_FALSE(linuxproc::isTerminalProcess(child));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ready[0]);
    close(ready[1]);

    // Gone, nonsense or unreadable: no.
    EXPECT_FALSE(linuxproc::isTerminalProcess(child));
    EXPECT_FALSE(linuxproc::isTerminalProcess(0));
    EXPECT_FALSE(linuxproc::isTerminalProcess(-5));

    // An executable named like a terminal, in a made-up proc tree.
    talvo::testing::TempDir proc;
    fs::create_directories(proc.path() / "42" / "fd");
    fs::create_symlink("/usr/bin/xterm", proc.path() / "42" / "exe");
    EXPECT_TRUE(linuxproc::isTerminalProcess(42, proc.path().string()));
    fs::create_directories(proc.path() / "43" / "fd");
    fs::create_symlink("/usr/bin/gedit", proc.path() / "43" / "exe");
    fs::create_symlink("/dev/pts/3", proc.path() / "43" / "fd" / "0");
    EXPECT_FALSE(linuxproc::isTerminalProcess(43, proc.path().string()));
    fs::create_symlink("/dev/pts/ptmx", proc.path() / "43" / "fd" / "7");
    EXPECT_TRUE(linuxproc::isTerminalProcess(43, proc.path().string()));
}
