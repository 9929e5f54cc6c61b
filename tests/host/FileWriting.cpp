// Files are written whole or not at all.
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "host/Pictures.h"

namespace {

using velhost::ErrorKind;
using velhost::SaveOptions;
using velhost::WriteFile;

using Bytes = std::vector<uint8_t>;
const Bytes kOld = {'o', 'l', 'd'}, kNew = {'n', 'e', 'w', '!'};

size_t FilesIn(const test::TemporaryFolder& folder) {
    size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.Path())) ++count;
    return count;
}

ErrorKind KindOf(const std::function<void()>& action, const char* words) {
    ErrorKind kind{};
    const std::string message = test::ErrorOf(action, &kind);
    EXPECT_NE(message.find(words), std::string::npos) << message;
    return kind;
}

TEST(FileWriting, OverwritesOnlyWhenAsked) {
    const test::TemporaryFolder folder;
    WriteFile(folder / "a", kOld, false);
    EXPECT_EQ(test::ReadBytes(folder / "a"), kOld);
    EXPECT_EQ(KindOf([&] { WriteFile(folder / "a", kNew, false); }, "exists"), ErrorKind::Exists);
    EXPECT_EQ(test::ReadBytes(folder / "a"), kOld);
    WriteFile(folder / "a", kNew, true);
    EXPECT_EQ(test::ReadBytes(folder / "a"), kNew);
    EXPECT_EQ(FilesIn(folder), 1u);

    test::Random random(2);
    const auto image = test::RandomPicture(random, test::kPictureKinds[7], 4, 4);
    EXPECT_EQ(KindOf([&] { velhost::SaveFile(*image.Get(), folder / "a", {}); }, "extension"), ErrorKind::Argument);
    velhost::SaveFile(*image.Get(), folder / "b.bmp", {});
    EXPECT_EQ(KindOf([&] { velhost::SaveFile(*image.Get(), folder / "b.bmp", {}); }, "b.bmp: the file exists"),
              ErrorKind::Exists);
}

TEST(FileWriting, PermissionsLinksAndDevices) {
    const test::TemporaryFolder folder;
    const mode_t mask = umask(027);
    WriteFile(folder / "fresh", kNew, false);
    umask(mask);
    struct stat status {};
    ASSERT_EQ(stat((folder / "fresh").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
    ASSERT_EQ(chmod((folder / "fresh").c_str(), 0604), 0);
    WriteFile(folder / "fresh", kOld, true);
    ASSERT_EQ(stat((folder / "fresh").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0604u);

    // A link stays one; the file behind it is replaced.
    std::filesystem::create_symlink("fresh", folder / "link");
    WriteFile(folder / "link", kNew, true);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
    EXPECT_EQ(test::ReadBytes(folder / "fresh"), kNew);
    std::filesystem::create_symlink("nowhere", folder / "dangling");
    EXPECT_EQ(KindOf([&] { WriteFile(folder / "dangling", kNew, false); }, "exists"), ErrorKind::Exists);

    WriteFile("/dev/null", kNew, false);
    EXPECT_EQ(KindOf([&] { WriteFile("/dev/full", kNew, false); }, "/dev/full"), ErrorKind::Access);
    EXPECT_EQ(FilesIn(folder), 3u);
}

TEST(FileWriting, PlacesThatCannotBeWritten) {
    const test::TemporaryFolder folder;
    EXPECT_EQ(KindOf([&] { WriteFile(folder / "no/such/a", kNew, false); }, "no/such/a"), ErrorKind::NotFound);
    EXPECT_EQ(KindOf([&] { WriteFile(folder.Path(), kNew, true); }, "folder"), ErrorKind::Access);
    const std::string longName(300, 'x');
    EXPECT_EQ(KindOf([&] { WriteFile(folder / longName, kNew, false); }, "cannot be written"), ErrorKind::Access);
    // A name at the limit leaves no room to be lengthened.
    WriteFile(folder / std::string(255, 'y'), kNew, false);
    EXPECT_EQ(FilesIn(folder), 1u);
    EXPECT_EQ(KindOf([&] { velhost::LoadFile(folder / "absent.png"); }, "absent.png: cannot be opened"),
              ErrorKind::NotFound);
    EXPECT_EQ(KindOf([&] { velhost::LoadFile(folder.Path()); }, "folder"), ErrorKind::Access);
}

TEST(FileWriting, AFailingWriteLeavesTheOldFile) {
    const test::TemporaryFolder folder;
    WriteFile(folder / "a", kOld, false);
    // No file may grow beyond 10000 bytes: the write stops in the middle, as on a full disk.
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = before;
    small.rlim_cur = 10000;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    ErrorKind kind{};
    const std::string message = test::ErrorOf([&] { WriteFile(folder / "a", Bytes(50000, 7), true); }, &kind);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_NE(message.find("a: cannot be written"), std::string::npos) << message;
    EXPECT_EQ(kind, ErrorKind::Access);
    EXPECT_EQ(test::ReadBytes(folder / "a"), kOld);
    EXPECT_EQ(FilesIn(folder), 1u);
}

TEST(FileWriting, OneOfManyWritersWins) {
    const test::TemporaryFolder folder;
    for (int round = 0; round < 10; ++round) {
        const auto name = folder / std::to_string(round);
        std::atomic<int> written{0}, refused{0};
        std::vector<std::thread> threads;
        for (uint8_t t = 0; t < 4; ++t) {
            threads.emplace_back([&, t] {
                try {
                    WriteFile(name, Bytes(1000, t), false, false);
                    ++written;
                } catch (const velhost::Error& error) {
                    EXPECT_EQ(error.Kind(), ErrorKind::Exists);
                    ++refused;
                }
            });
        }
        for (auto& thread : threads) thread.join();
        EXPECT_EQ(written, 1);
        EXPECT_EQ(refused, 3);
        const Bytes bytes = test::ReadBytes(name);
        EXPECT_EQ(bytes, Bytes(1000, bytes[0]));
    }
    EXPECT_EQ(FilesIn(folder), 10u);
}

TEST(FileWriting, AHandlerRemovesTemporaryFiles) {
    const test::TemporaryFolder folder;
    // A child that is interrupted by its file size limit in the middle of writing.
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, [](int) {
            velhost::RemoveTemporaryFiles();
            _exit(3);
        });
        const rlimit small{10000, 10000};
        setrlimit(RLIMIT_FSIZE, &small);
        try {
            WriteFile(folder / "a", Bytes(50000, 7), false);
        } catch (...) {
        }
        _exit(4);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
    EXPECT_EQ(FilesIn(folder), 0u);
}

}  // namespace
