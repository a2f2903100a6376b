#include "Scanning/Applications/ApplicationReader.h"
#include "Scanning/Applications/SquashfsImage.h"
#include "SquashfsBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <cstdlib>
#include <random>

using namespace tarnel;
using tarnel::testing::SquashfsBuilder;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;
namespace fs = std::filesystem;

namespace {

std::string noise(std::size_t bytes)
{
    std::mt19937 engine(5);
    std::string text(bytes, '\0');
    for (auto& c : text)
        c = static_cast<char>(engine() & 0xFF);
    return text;
}

const std::string nimbusEntry = "[Desktop Entry]\nType=Application\nName=Nimbus Cloud\nExec=AppRun %U\n"
                                "Icon=nimbus\nX-AppImage-Version=2.4.0\n";

SquashfsBuilder nimbusImage(bool compress)
{
    SquashfsBuilder builder;
    builder.compress = compress;
    // Names in the order the format lists them.
    builder.entries = {{".DirIcon", "nimbus.png", true},
                       {"AppRun", "#!/bin/sh\nexit 1\n"},
                       {"big.bin", noise(10000)},
                       {"exact.bin", noise(8192)},
                       {"nimbus.desktop", nimbusEntry},
                       {"nimbus.png", "png"}};
    return builder;
}

std::optional<std::string> readNamed(const SquashfsImage& image, const std::string& name, std::string* error = nullptr)
{
    return image.readRootFile([&name](std::string_view entry) { return entry == name; }, error);
}

} // namespace

TEST(AppImage, FilesAreReadFromBlocksAndFragmentsCompressedOrPlain)
{
    TemporaryDirectory temporary;
    for (bool compress : {true, false}) {
        SCOPED_TRACE(compress ? "gzip" : "plain");
        auto path = (temporary.path() / (compress ? "gzip.squashfs" : "plain.squashfs")).string();
        writeFile(path, nimbusImage(compress).build());
        std::string error;
        auto image = SquashfsImage::open(path, 0, &error);
        ASSERT_TRUE(image) << error;
        EXPECT_EQ(readNamed(*image, "big.bin"), noise(10000)) << "two full blocks and a tail in the fragment";
        EXPECT_EQ(readNamed(*image, "exact.bin"), noise(8192)) << "full blocks only, no fragment";
        EXPECT_EQ(readNamed(*image, "nimbus.desktop"), nimbusEntry) << "a tail alone";
        EXPECT_EQ(readNamed(*image, ".DirIcon"), "png") << "a link to a root entry is followed";
        std::string found;
        EXPECT_EQ(image->readRootFile([](std::string_view name) { return name.ends_with(".desktop"); }, &error, &found),
                  nimbusEntry);
        EXPECT_EQ(found, "nimbus.desktop");
        EXPECT_FALSE(readNamed(*image, "missing", &error));
        EXPECT_EQ(error, "no such file in the root folder");
        EXPECT_FALSE(image->readRootFile([](std::string_view name) { return name == "big.bin"; }, &error, nullptr, 4096));
        EXPECT_EQ(error, "file larger than 4096 bytes");
    }
}

TEST(AppImage, DamagedUnsupportedAndForeignImagesFailWithAReason)
{
    TemporaryDirectory temporary;
    auto good = nimbusImage(true).build();
    std::string error;

    auto truncated = (temporary.path() / "truncated").string();
    writeFile(truncated, good.substr(0, good.size() - 40));
    auto image = SquashfsImage::open(truncated, 0, &error);
    ASSERT_TRUE(image) << "the superblock is whole";
    EXPECT_FALSE(readNamed(*image, "nimbus.desktop", &error)) << "the tables at the end are cut off";
    EXPECT_FALSE(error.empty());

    auto garbage = good;
    for (std::size_t i = 96; i < garbage.size(); i += 7)
        garbage[i] = static_cast<char>(garbage[i] ^ 0x5A);
    auto scrambled = (temporary.path() / "scrambled").string();
    writeFile(scrambled, garbage);
    image = SquashfsImage::open(scrambled, 0, &error);
    ASSERT_TRUE(image);
    EXPECT_FALSE(readNamed(*image, "big.bin", &error));

    auto zstd = nimbusImage(true);
    zstd.compressor = 6;
    auto zstdPath = (temporary.path() / "zstd").string();
    writeFile(zstdPath, zstd.build());
    image = SquashfsImage::open(zstdPath, 0, &error);
    ASSERT_TRUE(image);
    EXPECT_FALSE(readNamed(*image, "nimbus.desktop", &error));
    EXPECT_EQ(error, "compressor 6 is not read, only gzip");
    auto plainZstd = nimbusImage(false);
    plainZstd.compressor = 6;
    writeFile(zstdPath, plainZstd.build());
    image = SquashfsImage::open(zstdPath, 0, &error);
    ASSERT_TRUE(image);
    EXPECT_EQ(readNamed(*image, "nimbus.desktop", &error), nimbusEntry) << "plain blocks need no compressor";

    writeFile(truncated, "hsqs");
    EXPECT_FALSE(SquashfsImage::open(truncated, 0, &error));
    EXPECT_EQ(error, truncated + ": no squashfs file system");
    EXPECT_FALSE(SquashfsImage::open((temporary.path() / "none").string(), 0, &error));
    EXPECT_NE(error.find("cannot open"), std::string::npos);
    EXPECT_FALSE(SquashfsImage::open(zstdPath, 1u << 30, &error)) << "an offset past the end";

    auto typeOne = (temporary.path() / "Old-1.0.AppImage").string();
    auto elf = SquashfsBuilder::appImage("");
    elf[10] = 1;
    writeFile(typeOne, elf);
    EXPECT_FALSE(appImageDesktopEntry(typeOne, &error));
    EXPECT_EQ(error, typeOne + ": a type 1 image (ISO 9660) is not read");
    auto script = (temporary.path() / "script.AppImage").string();
    writeFile(script, "#!/bin/sh\n");
    EXPECT_FALSE(appImageDesktopEntry(script, &error));
    EXPECT_EQ(error, script + ": not an executable image");
}

TEST(AppImage, TheEntryInsideNamesAndVersionsTheApplicationAndTheFileNameIsTheFallback)
{
    TemporaryDirectory temporary;
    auto renamed = temporary.path() / "download(1).AppImage";
    writeFile(renamed, SquashfsBuilder::appImage(nimbusImage(true).build()));
    auto broken = temporary.path() / "Nimbus-2.1-x86_64.AppImage";
    auto cut = SquashfsBuilder::appImage(nimbusImage(true).build());
    writeFile(broken, cut.substr(0, cut.size() / 2));
    ApplicationReader reader(ApplicationLocations::from(SupportLocations::underHome(temporary.path().string())));

    std::string error;
    EXPECT_EQ(appImageDesktopEntry(renamed.string(), &error), nimbusEntry) << error;
    auto item = reader.readAppImage(renamed.string(), true);
    ASSERT_TRUE(item);
    EXPECT_EQ(item->bundleInfo.name, "Nimbus Cloud");
    EXPECT_EQ(item->bundleInfo.identifier, "nimbus");
    EXPECT_EQ(item->bundleInfo.version.release, (BundleVersion::Version{2, 4, 0}));
    EXPECT_EQ(item->identity.desktopFileId, "nimbus.desktop");
    EXPECT_EQ(item->identity.execProgram, renamed.string()) << "the image runs, not its AppRun";
    EXPECT_EQ(item->iconName, "nimbus");

    auto fallback = reader.readAppImage(broken.string(), true);
    ASSERT_TRUE(fallback) << "a damaged image is still an application, named by its file";
    EXPECT_EQ(fallback->bundleInfo.name, "Nimbus");
    EXPECT_EQ(fallback->bundleInfo.version.release, (BundleVersion::Version{2, 1, 0}));
}

TEST(AppImage, AnImageWrittenByMksquashfsIsReadThroughALinkIntoAFolder)
{
    // data/mksquashfs-gzip.sqfs: mksquashfs -comp gzip of a root with "AppRun", "big.txt" (the
    // word "tarnel " 10,000 times) and "real-thing.desktop", a link to the entry in
    // usr/share/applications.
    const char* source = std::getenv("TARNEL_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    auto path = std::string(source) + "/tests/Scanning/data/mksquashfs-gzip.sqfs";
    std::string error;
    auto image = SquashfsImage::open(path, 0, &error);
    ASSERT_TRUE(image) << error;
    std::string name;
    EXPECT_EQ(image->readRootFile([](std::string_view entry) { return entry.ends_with(".desktop"); }, &error, &name),
              "[Desktop Entry]\nType=Application\nName=Real Thing\nExec=AppRun\nX-AppImage-Version=1.2.3\n")
        << error;
    EXPECT_EQ(name, "real-thing.desktop");
    std::string words;
    for (int i = 0; i < 10000; ++i)
        words += "tarnel ";
    EXPECT_EQ(readNamed(*image, "big.txt", &error), words) << error;
    EXPECT_EQ(readNamed(*image, "AppRun", &error), "#!/bin/sh\nexit 0\n") << error;
    EXPECT_FALSE(readNamed(*image, "usr", &error)) << "a folder is no file";
    EXPECT_EQ(error, "usr is no regular file");
}
