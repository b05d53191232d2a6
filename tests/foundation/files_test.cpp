#include "foundation/files.h"

#include <filesystem>

#include "support/scripted_operator.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn {
namespace {

using test::EnvGuard;
using test::TempDir;

class FilesTest : public test::SeamsTest {
 protected:
  ~FilesTest() override { kw_file_close_all(); }
  // Every message box shown so far, as "<title>|<text>".
  std::vector<std::string> boxes() {
    std::vector<std::string> all;
    for (const auto& box : op.shown) all.push_back(box.title + "|" + box.text);
    return all;
  }
  test::ScriptedOperator op;
};

TEST_F(FilesTest, FilesAreWrittenWithCrLfAndReadBackByNumber) {
  TempDir dir;
  std::string path = dir / "data.csv";
  kw_file_open(3, "\"" + path + "\"", FileMode::Output);
  EXPECT_EQ(kw_free_file(), 1);
  EXPECT_TRUE(kw_file_print(3, "Time,Torque"));
  EXPECT_TRUE(kw_file_print(3, "0.1,2.5"));
  kw_file_close(3);
  kw_file_open(3, path, FileMode::Append);
  EXPECT_TRUE(kw_file_print(3, ""));
  kw_file_close(3);
  EXPECT_EQ(TempDir::read(path), "Time,Torque\r\n0.1,2.5\r\n\r\n");

  kw_file_open(1, path, FileMode::Input);
  std::vector<std::string> lines;
  for (std::string line; kw_file_line_input(1, line);) lines.push_back(line);
  EXPECT_EQ(lines, (std::vector<std::string>{"Time,Torque", "0.1,2.5", ""}));
  kw_file_open(1, path, FileMode::Output);  // reopening a number closes the old file first
  kw_file_close(1);
  EXPECT_EQ(TempDir::read(path), "");
  EXPECT_TRUE(boxes().empty());
}

TEST_F(FilesTest, AFileThatWillNotOpenAsksToRetryAndNoEndsTheProgram) {
  TempDir dir;
  std::string blocker = dir.write("plain", "x");  // a file, so nothing can live under it
  std::string path = blocker + "/data.csv";
  op.expect_msg_box("Retry opening?", MsgAnswer::Yes);
  op.expect_msg_box("Retry opening?", MsgAnswer::No);
  EXPECT_PROCESS_EXIT(kw_file_open(4, path, FileMode::Append), 1);
  std::string box = "Open File|Error 20:Not a directory\r\nUnable to open file \"" + path +
                    "\"\r\n   for Append\r\nFile Number:4\r\n\r\nRetry opening?";
  EXPECT_EQ(boxes(), (std::vector<std::string>{box, box}));

  op.shown.clear();
  std::string missing = dir / "missing.txt";
  op.expect_msg_box("missing.txt", MsgAnswer::No);
  EXPECT_PROCESS_EXIT(kw_file_open(2, missing, FileMode::Input), 1);
  EXPECT_EQ(boxes(), std::vector<std::string>{"Open File|Error 2:No such file or directory\r\n"
                                              "Unable to open file \"" +
                                              missing +
                                              "\"\r\n   for Input\r\nFile Number:2\r\n\r\n"
                                              "Retry opening?"});
}

TEST_F(FilesTest, AFailedWriteAsksWhetherToGoOnAndNoEndsTheProgram) {
  op.expect_msg_box("Unable to print", MsgAnswer::Yes);
  EXPECT_FALSE(kw_file_print(7, "lost"));
  EXPECT_EQ(boxes().back(),
            "Print to File|Error 9:Bad file descriptor\r\nUnable to print to file number 7");

  // A full disk: /dev/full takes the open but refuses every byte.
  kw_file_open(5, "/dev/full", FileMode::Output);
  op.expect_msg_box("Unable to print", MsgAnswer::No);
  EXPECT_PROCESS_EXIT(kw_file_print(5, "Time,Torque"), 1);
  EXPECT_EQ(boxes().back(),
            "Print to File|Error 28:No space left on device\r\nUnable to print to file number 5");
}

TEST_F(FilesTest, AFolderIsWritableOnlyWhenAFileCanBeMadeAndRemovedInIt) {
  TempDir dir;
  EXPECT_FALSE(kw_dir_writable(""));
  EXPECT_TRUE(kw_dir_writable(dir.path()));
  EXPECT_TRUE(kw_dir_writable(dir.path() + "/"));
  EXPECT_TRUE(kw_dir_writable(dir.path() + "\\"));
  EXPECT_FALSE(std::filesystem::exists(dir / ",,,.tmp")) << "the probe file is removed";
  std::string plain = dir.write("plain", "x");
  EXPECT_FALSE(kw_dir_writable(plain));                // a file, not a folder
  EXPECT_FALSE(kw_dir_writable(plain + "/sub"));       // cannot exist under a file
  EXPECT_FALSE(kw_dir_writable(dir / "missing/sub"));  // not there
}

TEST_F(FilesTest, DocumentsFolderIsTheFirstWritableOneOfTheUsualPlaces) {
  TempDir home, tmp, config;
  EnvGuard env;
  env.set("HOME", home.path());
  env.set("XDG_CONFIG_HOME", config.path());
  env.set("XDG_DOCUMENTS_DIR", std::nullopt);
  for (const char* name : {"OVN_DATA_DIR", "TMPDIR", "TMP", "TEMP", "TEMPDIR"})
    env.set(name, std::nullopt);
  kw_set_program_dir("/proc");  // not writable, even for root

  // Without a Documents folder: the home folder.
  EXPECT_EQ(kw_documents_dir(), home.path());
  std::filesystem::create_directory(home / "Documents");
  EXPECT_EQ(kw_documents_dir(), home / "Documents");
  // The desktop's own choice of documents folder wins.
  std::filesystem::create_directory(home / "Papers");
  config.write("user-dirs.dirs",
               "# written by xdg-user-dirs-update\n"
               "XDG_DESKTOP_DIR=\"$HOME/Desktop\"\n"
               "XDG_DOCUMENTS_DIR=\"$HOME/Papers\"\n");
  EXPECT_EQ(kw_documents_dir(), home / "Papers");
  env.set("XDG_DOCUMENTS_DIR", home.path() + "/Documents/");
  EXPECT_EQ(kw_documents_dir(), home / "Documents");
  // A folder of its own for a demo or a test comes first.
  env.set("OVN_DATA_DIR", tmp.path());
  EXPECT_EQ(kw_documents_dir(), tmp.path());
  env.set("OVN_DATA_DIR", std::nullopt);

  // A home that cannot be written: the temporary folders in their order, then the program's.
  std::string plain = home.write("plain", "x");
  env.set("XDG_DOCUMENTS_DIR", std::nullopt);
  env.set("XDG_CONFIG_HOME", plain);
  env.set("HOME", plain + "/nohome");
  env.set("TEMP", tmp.path() + "/");
  EXPECT_EQ(kw_documents_dir(), tmp.path());
  env.set("TMP", plain);
  EXPECT_EQ(kw_documents_dir(), tmp.path());
  env.set("TEMP", std::nullopt);
  EXPECT_EQ(kw_documents_dir(), "/proc");
  kw_set_program_dir("");
  EXPECT_EQ(kw_program_dir(), std::filesystem::canonical("/proc/self/exe").parent_path());
}

TEST_F(FilesTest, LogLinesGetADateAndTimeOrAHeadingWhenTheyHoldLines) {
  TempDir dir;
  std::string path = dir / "log.txt";
  EXPECT_TRUE(kw_log_line(path, "Zero adjusted"));
  seams.clock.advance(65000);
  EXPECT_TRUE(kw_log_line(path, "Span=1.5\r\nZero=0.1"));
  EXPECT_EQ(TempDir::read(path),
            "2026-11-23 10:00:00 Zero adjusted\r\n"
            "#********* 2026-11-23T10:01:05\r\nSpan=1.5\r\nZero=0.1\r\n");

  std::string bad = dir.write("plain", "x") + "/log.txt";
  op.expect_msg_box("Error logging data", MsgAnswer::Ok);
  EXPECT_FALSE(kw_log_line(bad, "lost"));
  EXPECT_EQ(boxes(), std::vector<std::string>{"?|Error logging data to " + bad + "\r\n"});
}

}  // namespace
}  // namespace ovn
