// Mount and unmount run a command without a shell: a recorder program stands in for
// mount/umount and writes down the exact argument vector it was given.
#include <sys/stat.h>

#include <string>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_app.h"
#include "support/temp_root.hpp"

namespace {

using namespace lumo::test;

constexpr const char kRecorder[] = "#!/bin/sh\nfor a in \"$0\" \"$@\"; do printf '%s\\n' \"$a\"; done > \"$REC_OUT\"\n";

class Mount : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char *name : {"/bin/rec", "/bin/mount", "/bin/umount"}) {
            root.write(name, kRecorder);
            chmod(root.path(name).c_str(), 0755);
        }
        out = root.path("/argv");
        g_setenv("REC_OUT", out.c_str(), TRUE);
        // The default commands are looked up in PATH: find the recorders first.
        const char *path = g_getenv("PATH");
        g_setenv("PATH", (root.path("/bin") + ":" + (path ? path : "")).c_str(), TRUE);
    }
    // The recorded vector without argv[0]'s directory; empty when nothing ran.
    std::vector<std::string> recorded()
    {
        std::vector<std::string> words;
        std::string text = root.read("/argv");
        unlink(out.c_str());
        size_t start = 0;
        for (size_t nl; (nl = text.find('\n', start)) != std::string::npos; start = nl + 1)
            words.push_back(text.substr(start, nl - start));
        if (!words.empty())
            words[0] = words[0].substr(words[0].rfind('/') + 1);
        return words;
    }

    TempRoot root{nullptr};
    std::string out;
    LogCapture log;
};

using Words = std::vector<std::string>;

TEST_F(Mount, ArgumentVectorsAreBuiltWordByWord)
{
    const std::string rec = root.path("/bin/rec"), rec_fake = rec + " --fake";
    const struct {
        const char *label;
        const char *cmd, *src, *dst, *opts;  // dst null: an unmount of src
        Words want;
    } cases[] = {
        {"default mount", nullptr, "/sda1", "/mnt/usb", nullptr, {"mount", "/var/sda1", "/mnt/usb"}},
        {"empty command", "", "/sda1", "/mnt/usb", "", {"mount", "/var/sda1", "/mnt/usb"}},
        {"options split", rec.c_str(), "/sda1", "/mnt/usb", "-t vfat  -o 'ro,uid=0'",
         {"rec", "-t", "vfat", "-o", "ro,uid=0", "/var/sda1", "/mnt/usb"}},
        {"blanks and quotes stay in one word", rec.c_str(), "/sd a1", "/mnt/it's \"here\"", "-r",
         {"rec", "-r", "/var/sd a1", "/mnt/it's \"here\""}},
        {"nothing expands", rec_fake.c_str(), "/$(touch x)", "/mnt/`id` *", nullptr,
         {"rec", "--fake", "/var/$(touch x)", "/mnt/`id` *"}},
        {"default unmount", nullptr, "/mnt/usb", nullptr, nullptr, {"umount", "/mnt/usb"}},
        {"unmount options, no /var", "umount", "/mnt/my usb", nullptr, "-l -f", {"umount", "-l", "-f", "/mnt/my usb"}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        int32_t ret = c.dst ? OvanAppMountUsbDevice(c.cmd, c.src, c.dst, c.opts)
                            : OvanAppUnmountUsbDevice(c.cmd, c.src, c.opts);
        EXPECT_EQ(ret, 0);
        EXPECT_EQ(recorded(), c.want);
    }
}

TEST_F(Mount, RefusalsRunNothing)
{
    const std::string rec = root.path("/bin/rec");
    const struct {
        const char *label;
        const char *cmd, *src, *dst, *opts;
    } mounts[] = {
        {"no source", nullptr, nullptr, "/mnt/usb", nullptr},
        {"empty destination", nullptr, "/sda1", "", nullptr},
        {"; in command", "mount;reboot", "/sda1", "/mnt/usb", nullptr},
        {"; in source", nullptr, "/sda1;reboot", "/mnt/usb", nullptr},
        {"; in destination", nullptr, "/sda1", "/mnt;x", nullptr},
        {"; in options", nullptr, "/sda1", "/mnt/usb", "-o ro;reboot"},
        {"relative source", nullptr, "sda1", "/mnt/usb", nullptr},
        {"relative destination", nullptr, "/sda1", "mnt/usb", nullptr},
        {"unbalanced quote", rec.c_str(), "/sda1", "/mnt/usb", "-o 'ro"},
        {"blank command", "   ", "/sda1", "/mnt/usb", nullptr},
    };
    for (const auto &c : mounts)
        EXPECT_EQ(OvanAppMountUsbDevice(c.cmd, c.src, c.dst, c.opts), -1) << c.label;
    const struct {
        const char *label;
        const char *cmd, *path, *opts;
    } unmounts[] = {
        {"no path", nullptr, nullptr, nullptr},
        {"empty path", nullptr, "", nullptr},
        {"; in path", nullptr, "/mnt;x", nullptr},
        {"; in options", nullptr, "/mnt", "-l;x"},
        {"relative path", nullptr, "mnt", nullptr},
    };
    for (const auto &c : unmounts)
        EXPECT_EQ(OvanAppUnmountUsbDevice(c.cmd, c.path, c.opts), -1) << c.label;
    EXPECT_TRUE(recorded().empty());
    EXPECT_TRUE(log.contains("Enter (cmd NULL, src /sda1, dst /mnt;x)"));
}

}  // namespace
