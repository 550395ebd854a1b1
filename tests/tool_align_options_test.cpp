// Command line of velmora-align.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "align/align_options.h"
#include "velmora/erconfig.h"

using valign::Options;

namespace {

// Parses the given arguments (the program name is added in front).
std::string parse(std::vector<const char*> args, Options& options) {
  args.insert(args.begin(), "velmora-align");
  return valign::parseOptions(static_cast<int>(args.size()), args.data(), options);
}

}  // namespace

TEST(ParseOptionsTest, NoArgumentsReadStandardInputAsText) {
  Options o;
  EXPECT_EQ(parse({}, o), "");
  EXPECT_EQ(o.file, "-");
  EXPECT_FALSE(o.json);
  EXPECT_FALSE(o.residuals);
  EXPECT_FALSE(o.fromTo());
  EXPECT_FALSE(o.help);
  EXPECT_FALSE(o.version);
}

TEST(ParseOptionsTest, FlagsAndFileInAnyOrder) {
  Options o;
  EXPECT_EQ(parse({"--residuals", "data.txt", "--json"}, o), "");
  EXPECT_EQ(o.file, "data.txt");
  EXPECT_TRUE(o.json);
  EXPECT_TRUE(o.residuals);
}

TEST(ParseOptionsTest, DashIsStandardInput) {
  Options o;
  EXPECT_EQ(parse({"-"}, o), "");
  EXPECT_EQ(o.file, "-");
}

TEST(ParseOptionsTest, DoubleDashEndsOptions) {
  Options o;
  EXPECT_EQ(parse({"--json", "--", "--odd-name"}, o), "");
  EXPECT_EQ(o.file, "--odd-name");
  EXPECT_TRUE(o.json);
}

TEST(ParseOptionsTest, FromAndToTakeSeparateOrAttachedValues) {
  Options o;
  EXPECT_EQ(parse({"--from", "a.txt", "--to=b.txt"}, o), "");
  EXPECT_EQ(o.from, "a.txt");
  EXPECT_EQ(o.to, "b.txt");
  EXPECT_TRUE(o.fromTo());
  EXPECT_EQ(parse({"--to", "-", "--from=a.txt"}, o), "");
  EXPECT_EQ(o.from, "a.txt");
  EXPECT_EQ(o.to, "-");
}

TEST(ParseOptionsTest, HelpAndVersionAreRecognised) {
  Options o;
  EXPECT_EQ(parse({"--help"}, o), "");
  EXPECT_TRUE(o.help);
  EXPECT_EQ(parse({"-h"}, o), "");
  EXPECT_TRUE(o.help);
  EXPECT_EQ(parse({"--version"}, o), "");
  EXPECT_TRUE(o.version);
}

TEST(ParseOptionsTest, HelpWinsOverOtherComplaints) {
  Options o;
  EXPECT_EQ(parse({"a", "b", "--help"}, o), "");
  EXPECT_TRUE(o.help);
  EXPECT_EQ(parse({"--from", "a", "--version"}, o), "");
  EXPECT_TRUE(o.version);
}

TEST(ParseOptionsTest, UnknownOptionsAreRefused) {
  Options o;
  EXPECT_EQ(parse({"--jsn"}, o), "unknown option '--jsn' (see --help)");
  EXPECT_EQ(parse({"-x", "--help"}, o), "unknown option '-x' (see --help)");
  EXPECT_EQ(parse({"--fromage=a"}, o), "unknown option '--fromage=a' (see --help)");
}

TEST(ParseOptionsTest, MissingValuesAreRefused) {
  Options o;
  EXPECT_EQ(parse({"--to", "b", "--from"}, o), "option --from needs a file name");
  EXPECT_EQ(parse({"--from", "a", "--to="}, o), "option --to needs a file name");
}

TEST(ParseOptionsTest, FromAndToGoTogether) {
  Options o;
  EXPECT_EQ(parse({"--from", "a"}, o), "--from needs --to");
  EXPECT_EQ(parse({"--to", "b"}, o), "--to needs --from");
}

TEST(ParseOptionsTest, RepeatedFromOrToIsRefused) {
  Options o;
  EXPECT_EQ(parse({"--from", "a", "--to", "b", "--from", "c"}, o), "--from given more than once");
  EXPECT_EQ(parse({"--to", "a", "--from", "b", "--to=c"}, o), "--to given more than once");
}

TEST(ParseOptionsTest, FileAndFromToExcludeEachOther) {
  Options o;
  EXPECT_EQ(parse({"--from", "a", "--to", "b", "c"}, o), "give either FILE or --from and --to, not both");
}

TEST(ParseOptionsTest, OnlyOneFileIsRead) {
  Options o;
  EXPECT_EQ(parse({"a.txt", "-"}, o), "more than one input file given (a.txt, <stdin>)");
}

TEST(ParseOptionsTest, StandardInputCannotFeedBothSets) {
  Options o;
  EXPECT_EQ(parse({"--from", "-", "--to", "-"}, o), "standard input can be read only once");
}

TEST(HelpTextTest, DescribesUsageOptionsAndExitStatus) {
  const std::string help = valign::helpText();
  for (const char* needle :
       {"Usage: velmora-align [options] [FILE]", "--from A --to B", "--json", "--residuals", "--version",
        "\"status\"", "\"conditioning\"", "Exit status", "1e150", "velmora-align: error: "})
    EXPECT_NE(help.find(needle), std::string::npos) << needle;
}

TEST(VersionTextTest, IsTheProgramNameAndTheLibraryVersion) {
  EXPECT_EQ(valign::versionText(), std::string("velmora-align ") + VELMORA_VERSION + "\n");
}
