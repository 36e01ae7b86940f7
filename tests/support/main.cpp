// main.cpp - main() of the test programs. Every run gets a private /dev and /var/lock, so that tests may use
// any port and any lock file, also several at a time and as an ordinary user. Where even root gets no private
// ones, the programs share the /dev of the machine and take turns.
#include "sim/medium.h"
#include "sim/private_dev.h"

#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

/// Waits for the other test programs. The lock is held until the process ends.
void TakeTurns()
{
    const int turn = ::open("/run/lock/zeka-tests", O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (turn < 0 || ::flock(turn, LOCK_EX) != 0)
        std::perror("cannot wait for other test programs: /run/lock/zeka-tests");
}

} // namespace

int main(int argc, char** argv)
{
    char* const* const arguments = argv;
    // InitGoogleTest removes its own arguments.
    const std::vector<char*> as_given(arguments, arguments + argc + 1);
    testing::InitGoogleTest(&argc, argv);
    // On USB the nodes are the kernel's, in the /dev of the machine, which runs one test alone.
    if (!testing::GTEST_FLAG(list_tests) && zeka::sim::DefaultMedium() == zeka::sim::MediumKind::kTerminal) {
        zeka::sim::EnterPrivateDev(as_given.data());
        if (!zeka::sim::InPrivateDev())
            TakeTurns();
    }
    return RUN_ALL_TESTS();
}
