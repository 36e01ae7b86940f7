// lock_file_test.cpp - what stands in a lock's place, and processes that race for a stale one.
#include "link/serial_link.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kPort = 77;
const std::string kPath = "/var/lock/kestrava.ACM77.lock";

void PutLock(const void* bytes, std::size_t count)
{
    const int fd = ::open(kPath.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, bytes, count), static_cast<ssize_t>(count));
    ::close(fd);
}

void PutPid(std::int32_t pid) { PutLock(&pid, sizeof pid); }

std::vector<char> Content()
{
    std::vector<char> bytes(16);
    const int fd = ::open(kPath.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t got = fd >= 0 ? ::read(fd, bytes.data(), bytes.size()) : 0;
    if (fd >= 0)
        ::close(fd);
    bytes.resize(static_cast<std::size_t>(got));
    return bytes;
}

pid_t EndedProcess()
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    ::waitpid(child, nullptr, 0);
    return child;
}

bool Exists() { return std::filesystem::exists(std::filesystem::symlink_status(kPath)); }

class LockFile : public testing::Test {
protected:
    void SetUp() override { std::filesystem::remove_all(kPath); }
    void TearDown() override
    {
        UnlockDeviceFile();
        std::filesystem::remove_all(kPath);
    }
};

TEST_F(LockFile, HoldsOurProcessIdInFourBytesAndGoesOnRelease)
{
    ASSERT_TRUE(LockDeviceFile(kPort));
    const std::int32_t pid = ::getpid();
    std::vector<char> expected(sizeof pid);
    std::memcpy(expected.data(), &pid, sizeof pid);
    EXPECT_EQ(Content(), expected);
    struct stat file {};
    ASSERT_EQ(::stat(kPath.c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 0777u, 0600u);
    EXPECT_NE(::fcntl(g_nLockFile, F_GETFD) & FD_CLOEXEC, 0);

    UnlockDeviceFile();
    EXPECT_FALSE(Exists());
    EXPECT_EQ(g_nLockFile, -1);
    UnlockDeviceFile(); // twice in a row is harmless
}

TEST_F(LockFile, OfADeadOrImpossibleProcessIsReplaced)
{
    for (const std::int32_t pid : {static_cast<std::int32_t>(EndedProcess()), 0, -1, -7, 0x7FFFFFFF}) {
        PutPid(pid);
        EXPECT_TRUE(LockDeviceFile(kPort)) << pid;
        UnlockDeviceFile();
    }
}

TEST_F(LockFile, OfALivingProcessOrTooShortToJudgeIsLeftAlone)
{
    PutPid(::getppid());
    EXPECT_FALSE(LockDeviceFile(kPort));
    EXPECT_EQ(Content().size(), 4u);
    PutLock("ab", 2);
    EXPECT_FALSE(LockDeviceFile(kPort));
    EXPECT_EQ(Content(), (std::vector<char>{'a', 'b'}));
}

TEST_F(LockFile, WhatIsNoRegularFileIsNeitherFollowedNorWaitedFor)
{
    const std::string target = kPath + ".target";
    const std::int32_t dead = EndedProcess();
    PutPid(dead);
    std::filesystem::rename(kPath, target);
    std::filesystem::create_symlink(target, kPath);
    EXPECT_FALSE(LockDeviceFile(kPort));
    EXPECT_TRUE(Exists());
    EXPECT_TRUE(std::filesystem::exists(target));
    std::filesystem::remove(kPath);
    std::filesystem::remove(target);

    ASSERT_EQ(::mkfifo(kPath.c_str(), 0600), 0);
    EXPECT_FALSE(LockDeviceFile(kPort));
    std::filesystem::remove(kPath);

    std::filesystem::create_directory(kPath);
    EXPECT_FALSE(LockDeviceFile(kPort));
    EXPECT_TRUE(Exists());
}

TEST_F(LockFile, IsNotRemovedByAForkedChildNorWhenItIsNoLongerOurs)
{
    ASSERT_TRUE(LockDeviceFile(kPort));
    const pid_t child = ::fork();
    if (child == 0) {
        UnlockDeviceFile();
        ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
    EXPECT_TRUE(Exists());

    std::filesystem::remove(kPath); // someone tidied up, and another process has the port now
    PutPid(::getppid());
    UnlockDeviceFile();
    EXPECT_TRUE(Exists());
}

// Eight processes race for one stale lock, round after round; each winner checks that it is alone. The plain
// sequence of probe, unlink and create fails this.
TEST_F(LockFile, HasOneWinnerWhenProcessesRaceForAStaleOne)
{
    constexpr int kProcesses = 8;
    constexpr int kRounds = 5000;
    struct Shared {
        pthread_barrier_t barrier;
        int holders;
        int two_holders;
        int wins;
    };
    auto* const shared = static_cast<Shared*>(
        ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(shared, MAP_FAILED);
    pthread_barrierattr_t attributes;
    pthread_barrierattr_init(&attributes);
    pthread_barrierattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_barrier_init(&shared->barrier, &attributes, kProcesses);
    const std::int32_t dead = EndedProcess();

    std::vector<pid_t> racers;
    for (int racer = 0; racer < kProcesses; ++racer) {
        const pid_t child = ::fork();
        if (child == 0) {
            for (int round = 0; round < kRounds; ++round) {
                if (racer == 0)
                    PutPid(dead);
                pthread_barrier_wait(&shared->barrier);
                const bool won = LockDeviceFile(kPort);
                if (won) {
                    __atomic_add_fetch(&shared->wins, 1, __ATOMIC_SEQ_CST);
                    if (__atomic_add_fetch(&shared->holders, 1, __ATOMIC_SEQ_CST) > 1)
                        __atomic_add_fetch(&shared->two_holders, 1, __ATOMIC_SEQ_CST);
                }
                pthread_barrier_wait(&shared->barrier); // nobody releases before all have tried
                if (won) {
                    __atomic_sub_fetch(&shared->holders, 1, __ATOMIC_SEQ_CST);
                    UnlockDeviceFile();
                }
                pthread_barrier_wait(&shared->barrier);
            }
            ::_exit(0);
        }
        racers.push_back(child);
    }
    for (const pid_t racer : racers)
        ::waitpid(racer, nullptr, 0);
    EXPECT_EQ(shared->two_holders, 0);
    EXPECT_GT(shared->wins, kRounds / 2); // in nearly every round somebody gets it
    ::munmap(shared, sizeof(Shared));
}

} // namespace
