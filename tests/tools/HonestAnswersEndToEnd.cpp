// c2dimg's answers to what a first run meets: signals, turned pages, odd files, its words.
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "ToolTestSupport.h"

namespace {

using namespace c2dtest;

// Stopped while it writes, c2dimg leaves no temporary file and dies by the signal.
TEST_F(C2dimgTool, RemovesItsTemporaryFileWhenStopped) {
  WritePbm(path("page.pbm"), Page(240, 150), false);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(signal);
    const std::string in = path("page.pbm"), out = path("big.png");
    const char *argv[] = {C2DIMG_PATH, "scale", in.c_str(),  "--factor", "80",
                          "--grey",    "-o",    out.c_str(), nullptr};
    const pid_t pid = fork();
    if (pid == 0) {  // the signal may be ignored here (nohup), and that would be inherited
      ::signal(signal, SIG_DFL);
      execv(argv[0], const_cast<char **>(argv));
      _exit(127);
    }
    ASSERT_GT(pid, 0);
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (temporaries() == 0 && std::chrono::steady_clock::now() < until) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    kill(pid, signal);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
    EXPECT_EQ(temporaries(), 0u);
    EXPECT_FALSE(fs::exists(out));
  }
}

// The eight TIFF orientations, bilevel and colour, are shown upright; info names the stored one.
TEST_F(C2dimgTool, ShowsTiffPagesUprightWhateverTheirOrientation) {
  const Image stored[] = {Page(40, 24), Colours(40, 24)};
  // Where the first row and column lie, as the field's definition puts them.
  const bool kFromRight[] = {false, true, true, false, false, false, true, true};
  const bool kFromBottom[] = {false, false, true, true, false, true, true, false};
  for (uint16_t orientation = 1; orientation <= 8; ++orientation) {
    for (const Image &page : stored) {
      SCOPED_TRACE(std::to_string(orientation) + (&page == stored ? " bilevel" : " colour"));
      const std::string in = path("page.tif");
      &page == stored ? WriteBilevelTiff(in, {page}) : WriteColourTiff(in, page, false);
      TIFF *tif = TIFFOpen(in.c_str(), "r+");
      ASSERT_NE(tif, nullptr);
      TIFFSetField(tif, TIFFTAG_ORIENTATION, orientation);
      TIFFRewriteDirectory(tif);
      TIFFClose(tif);
      const bool across = orientation >= 5;
      Image want(across ? page.h : page.w, across ? page.w : page.h);
      for (uint32_t i = 0; i < want.w * want.h; ++i) {
        const uint32_t x = i % want.w, y = i / want.w, row = across ? x : y;
        const uint32_t column = across ? y : x;
        want.rgb[i] = page.at(kFromRight[orientation - 1] ? page.w - 1 - column : column,
                              kFromBottom[orientation - 1] ? page.h - 1 - row : row);
      }
      EXPECT_EQ(Difference(made({"convert", in}, "upright.ppm"), want), "");
      const Outcome info = run({"info", in});
      EXPECT_EQ(info.out.find("orientation") != std::string::npos, orientation != 1) << info.out;
    }
  }
}

// What a user reads, and the status; the library's names only under --verbose.
TEST_F(C2dimgTool, AnswersInPlainWordsWithItsStatus) {
  const Image page = Page(40, 24);
  WritePbm(path("page.pbm"), page, false);
  WriteText(path("kept.pbm"), "old");
  chmod(path("kept.pbm").c_str(), 0444);
  WritePbm(path("narrow.pbm"), Page(8, 30), false);
  WritePngFile(path("small.png"), Colours(20, 20), false);
  WriteText(path("huge.png"), WithPngSize(Slurp(path("small.png")), 30000, 30000));
  WriteBilevelTiff(path("whole.tif"), {Page(203, 150), Page(203, 150), Page(203, 150)});
  const std::string whole = Slurp(path("whole.tif"));
  WriteText(path("cut.tif"), whole.substr(0, whole.size() * 85 / 100));
  Image grey(30, 20), noise(30, 20);
  for (size_t i = 0; i < noise.rgb.size(); ++i) {
    grey.rgb[i] = (i % 7 == 0 ? 0x20 : 0xE0) * 0x010101u;
    noise.rgb[i] = static_cast<uint32_t>(i * 2654435761u) & 0xFFFFFF;
  }
  WritePngFile(path("grey.png"), grey, false);
  WritePngFile(path("noise.png"), noise, false);
  const std::string out = path("out.pbm"), in = path("page.pbm"), o = path("never.png");
  const std::string rgb = path("noise.png"), png = path("made.png"), part = path("part.pbm");
  const Said cases[] = {
      {{"info", path("huge.png")}, 2, {"30000 x 30000 pixels", "--max-pixels"}},
      {{"info", path("small.png"), "--max-pixels", "399"}, 2, {}},
      {{"info", path("small.png"), "--max-pixels", "400"}, 0, {}},
      {{"scale", path("small.png"), "--factor", "2000", "-o", png}, 1, {}},
      {{"info", path("cut.tif")}, 3, {"cut short"}},
      {{"convert", path("cut.tif"), "-o", out, "--page", "3"}, 2, {"cut short"}},
      {{"convert", path("cut.tif"), "-o", out, "--page", "2"}, 3, {"cut short"}},
      {{"info", path("grey.png")}, 0, {"type         grey"}},
      {{"info", path("grey.png"), "--verbose"}, 0, {"[CImg32]"}},
      {{"scale", rgb, "--grey", "--width", "10", "-o", png}, 0, {"is scaled in its own colours"}},
      {{"convert", rgb, "--to", "1", "--separate", "-o", png}, 0, {"--separate sets every pixel"}},
      {{"--version"}, 0, {"c2dimg "}},
      {{"convert", in, "-o", "-"}, 1, {}},
      {{"scale", in, "--factor", "1", "--rect", "30,-5,99,9", "-o", part}, 0, {"30,0,39,9"}},
      {{"convert", path("narrow.pbm"), "-o", path("narrow.rtl")}, 2, {"tile buffer"}},
      {{"rtl", path("narrow.pbm"), "-o", path("narrow.png")}, 1, {}},
      {{"convert", in, "-o", path("kept.pbm")}, 2, {"kept.pbm"}},
      {{"convert", in, "-o", path("kept.pbm"), "--force"}, 0, {}},
      {{}, 1, {"usage: c2dimg"}},
      {{"frobnicate", in}, 1, {"usage: c2dimg"}},
      {{"scale", in, "-o", o}, 1, {"usage: c2dimg"}},
      {{"scale", in, "-o", o, "--width", "10", "--height", "5"}, 1, {"usage: c2dimg"}},
      {{"scale", in, "-o", o, "--width", "ten"}, 1, {"usage: c2dimg"}},
      {{"scale", in, "-o", o, "--width", "10", "--rect", "50,0,55,5"}, 1, {"usage: c2dimg"}},
      {{"scale", in, "-o", o, "--width", "10", "--bogus"}, 1, {"usage: c2dimg"}},
      {{"rotate", in, "a lot", "-o", o}, 1, {"usage: c2dimg"}},
      {{"convert", in, "-o", path("out.xyz")}, 1, {"usage: c2dimg"}},
      {{"convert", in, "-o", o, "--to", "7"}, 1, {"usage: c2dimg"}},
      {{"composite", in, in, "-o", o, "--at", "50,50"}, 1, {"usage: c2dimg"}},
      {{"composite", in, in, "-o", o, "--at", "1,1", "--key", "red"}, 1, {"usage: c2dimg"}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.args.empty() ? "(none)" : c.args[0] + " " + c.args.back());
    const std::string said = answer(c.args, c.status, c.says);
    const bool verbose = !c.args.empty() && c.args.back() == "--verbose";
    EXPECT_EQ(said.find("CImg") != std::string::npos, verbose) << said;
    EXPECT_EQ(said.find("IMG_"), std::string::npos) << said;
  }
  EXPECT_FALSE(fs::exists(o));
  for (const char *command :
       {"", "info", "scale", "rotate", "mirror", "convert", "background", "composite"}) {
    SCOPED_TRACE(command);
    const Outcome outcome = run({*command == '\0' ? "--quiet" : command, "--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out.rfind("usage: c2dimg " + std::string(command), 0), 0u) << outcome.out;
  }
  EXPECT_EQ(Difference(ReadBack(out), Page(203, 150)), "");  // page 2, before the cut
  EXPECT_FALSE(fs::exists(path("narrow.rtl")));
  EXPECT_EQ(Difference(ReadBack(path("kept.pbm")), page), "");
  EXPECT_EQ(Difference(ReadBack(part), Crop(page, 30, 0, 10, 10)), "");
  for (const std::string format : {"tif", "png", "pbm"}) {
    WriteText(path("piped." + format), run({"convert", in, "-o", "-", "--format", format}).out);
    EXPECT_EQ(Difference(ReadBack(path("piped." + format)), page), "") << format;
  }
  answer({"convert", in, "-o", path("named.dat"), "--format", "PNG"}, 0, {});
  EXPECT_EQ(Slurp(path("named.dat")).substr(1, 3), "PNG");
}

}  // namespace
