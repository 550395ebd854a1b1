// Command line of velmora-align.
#include <gtest/gtest.h>

#include <string>
#include <utility>
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
  EXPECT_EQ(o.model, velmora::Model::rigid);
  EXPECT_FALSE(o.axisGiven);
  EXPECT_EQ(o.axis[0], 0.0);
  EXPECT_EQ(o.axis[1], 0.0);
  EXPECT_EQ(o.axis[2], 1.0);
  EXPECT_FALSE(o.allowReflection);
  EXPECT_EQ(o.weights, "");
  EXPECT_EQ(o.method, valign::Method::closedForm);
  EXPECT_FALSE(o.proj);
  EXPECT_FALSE(o.ros);
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
  for (const char* needle : {"Usage: velmora-align [options] [FILE]",
                             "--from A --to B",
                             "--json",
                             "--residuals",
                             "--version",
                             "\"status\"",
                             "\"conditioning\"",
                             "Exit status",
                             "1e150",
                             "velmora-align: error: ",
                             "--model rigid",
                             "--model similarity",
                             "--model translation",
                             "--model axis",
                             "--axis X,Y,Z",
                             "--allow-reflection",
                             "--weights FILE",
                             "--method closed-form",
                             "--method newton",
                             "--proj",
                             "--ros PARENT CHILD",
                             "\"model\"",
                             "\"scale\"",
                             "\"det\"",
                             "\"quaternion\"",
                             "\"rotvec\"",
                             "\"euler_zyx_deg\"",
                             "\"inverse\"",
                             "\"weight_sum\"",
                             "\"proj\"",
                             "\"ros\"",
                             "velmora-align: warning: "})
    EXPECT_NE(help.find(needle), std::string::npos) << needle;
}

TEST(VersionTextTest, IsTheProgramNameAndTheLibraryVersion) {
  EXPECT_EQ(valign::versionText(), std::string("velmora-align ") + VELMORA_VERSION + "\n");
}

TEST(ParseOptionsTest, ModelsAreReadByName) {
  Options o;
  const std::pair<const char*, velmora::Model> models[] = {{"rigid", velmora::Model::rigid},
                                                           {"similarity", velmora::Model::similarity},
                                                           {"translation", velmora::Model::translation},
                                                           {"axis", velmora::Model::axis}};
  for (const auto& m : models) {
    EXPECT_EQ(parse({"--model", m.first}, o), "");
    EXPECT_EQ(o.model, m.second) << m.first;
    const std::string attached = std::string("--model=") + m.first;
    EXPECT_EQ(parse({attached.c_str()}, o), "");
    EXPECT_EQ(o.model, m.second) << m.first;
  }
}

TEST(ParseOptionsTest, UnknownOrMissingModelIsRefused) {
  Options o;
  EXPECT_EQ(parse({"--model", "affine"}, o),
            "unknown model 'affine' (rigid, similarity, translation or axis)");
  EXPECT_EQ(parse({"--model", "Rigid"}, o), "unknown model 'Rigid' (rigid, similarity, translation or axis)");
  EXPECT_EQ(parse({"--model"}, o), "option --model needs a model name");
  EXPECT_EQ(parse({"--model="}, o), "option --model needs a model name");
  EXPECT_EQ(parse({"--model", "rigid", "--model", "axis"}, o), "--model given more than once");
}

TEST(ParseOptionsTest, AxisIsThreeNumbersWithModelAxis) {
  Options o;
  EXPECT_EQ(parse({"--model", "axis", "--axis", "1,-2,0.5"}, o), "");
  EXPECT_TRUE(o.axisGiven);
  EXPECT_EQ(o.axis[0], 1.0);
  EXPECT_EQ(o.axis[1], -2.0);
  EXPECT_EQ(o.axis[2], 0.5);
  EXPECT_EQ(parse({"--axis=0 1 0", "--model=axis"}, o), "");
  EXPECT_EQ(o.axis[1], 1.0);
  EXPECT_EQ(parse({"--model", "axis", "--axis", "-1;0;0"}, o), "");
  EXPECT_EQ(o.axis[0], -1.0);
}

TEST(ParseOptionsTest, AxisNeedsModelAxis) {
  Options o;
  EXPECT_EQ(parse({"--axis", "1,0,0"}, o), "--axis needs --model axis");
  EXPECT_EQ(parse({"--axis", "1,0,0", "--model", "rigid"}, o), "--axis needs --model axis");
}

TEST(ParseOptionsTest, BadAxesAreRefused) {
  Options o;
  EXPECT_EQ(parse({"--model", "axis", "--axis", "0,0,0"}, o),
            "option --axis: '0,0,0' is a zero vector, which gives no direction");
  EXPECT_EQ(parse({"--model", "axis", "--axis", "-0,0,0"}, o),
            "option --axis: '-0,0,0' is a zero vector, which gives no direction");
  EXPECT_EQ(parse({"--model", "axis", "--axis", "1,2"}, o),
            "option --axis needs three numbers X,Y,Z, not '1,2'");
  EXPECT_EQ(parse({"--model", "axis", "--axis", "1,2,3,4"}, o),
            "option --axis needs three numbers X,Y,Z, not '1,2,3,4'");
  EXPECT_EQ(parse({"--model", "axis", "--axis", "x,y,z"}, o),
            "option --axis needs three numbers X,Y,Z, not 'x,y,z'");
  EXPECT_EQ(parse({"--model", "axis", "--axis", "1,nan,0"}, o),
            "option --axis needs three finite numbers of magnitude at most 1e150, not '1,nan,0'");
  EXPECT_EQ(parse({"--model", "axis", "--axis", "1e400,0,0"}, o),
            "option --axis needs three finite numbers of magnitude at most 1e150, not '1e400,0,0'");
  EXPECT_EQ(parse({"--model", "axis", "--axis"}, o), "option --axis needs a direction X,Y,Z");
}

TEST(ParseAxisTest, TinyAndLargeDirectionsAreAccepted) {
  double axis[3] = {7, 7, 7};
  EXPECT_EQ(valign::parseAxis("1e-300,0,-1e-300", axis), "");
  EXPECT_EQ(axis[0], 1e-300);
  EXPECT_EQ(axis[1], 0.0);
  EXPECT_EQ(axis[2], -1e-300);
  EXPECT_EQ(valign::parseAxis("1e150 1e150 0", axis), "");
  EXPECT_EQ(axis[0], 1e150);
}

TEST(ParseOptionsTest, ReflectionProjAndFlags) {
  Options o;
  EXPECT_EQ(parse({"--allow-reflection", "--proj", "p.txt"}, o), "");
  EXPECT_TRUE(o.allowReflection);
  EXPECT_TRUE(o.proj);
  EXPECT_EQ(o.file, "p.txt");
}

TEST(ParseOptionsTest, WeightsTakeAFile) {
  Options o;
  EXPECT_EQ(parse({"--weights", "w.txt", "p.txt"}, o), "");
  EXPECT_EQ(o.weights, "w.txt");
  EXPECT_EQ(o.file, "p.txt");
  EXPECT_EQ(parse({"--weights=w.txt", "--from", "a", "--to", "b"}, o), "");
  EXPECT_EQ(o.weights, "w.txt");
  EXPECT_EQ(parse({"--weights"}, o), "option --weights needs a file name");
  EXPECT_EQ(parse({"--weights", "a", "--weights", "b", "p"}, o), "--weights given more than once");
}

TEST(ParseOptionsTest, WeightsAndPairsCannotBothComeFromStandardInput) {
  Options o;
  EXPECT_EQ(parse({"--weights", "-"}, o), "standard input can be read only once");
  EXPECT_EQ(parse({"--weights", "-", "-"}, o), "standard input can be read only once");
  EXPECT_EQ(parse({"--weights", "-", "--from", "a", "--to", "-"}, o), "standard input can be read only once");
  EXPECT_EQ(parse({"--weights", "-", "p.txt"}, o), "");
}

TEST(ParseOptionsTest, RosTakesTwoFrameNames) {
  Options o;
  EXPECT_EQ(parse({"--ros", "map", "scanner", "p.txt"}, o), "");
  EXPECT_TRUE(o.ros);
  EXPECT_EQ(o.rosParent, "map");
  EXPECT_EQ(o.rosChild, "scanner");
  EXPECT_EQ(o.file, "p.txt");
}

TEST(ParseOptionsTest, RosWithoutTwoGoodNamesIsRefused) {
  Options o;
  EXPECT_EQ(parse({"p.txt", "--ros", "map"}, o), "option --ros needs two frame names, PARENT and CHILD");
  EXPECT_EQ(parse({"--ros"}, o), "option --ros needs two frame names, PARENT and CHILD");
  EXPECT_EQ(
      parse({"--ros", "map", "--json", "p.txt"}, o),
      "option --ros needs two frame names, PARENT and CHILD, each one word without blanks that does not "
      "start with -, not 'map' '--json'");
  EXPECT_EQ(
      parse({"--ros", "my map", "b"}, o),
      "option --ros needs two frame names, PARENT and CHILD, each one word without blanks that does not "
      "start with -, not 'my map' 'b'");
  EXPECT_EQ(parse({"--ros", "a", "b", "--ros", "c", "d"}, o), "--ros given more than once");
}

TEST(ParseOptionsTest, MethodIsClosedFormOrNewton) {
  Options o;
  EXPECT_EQ(parse({"--method", "newton"}, o), "");
  EXPECT_EQ(o.method, valign::Method::newton);
  EXPECT_EQ(parse({"--method=closed-form"}, o), "");
  EXPECT_EQ(o.method, valign::Method::closedForm);
  EXPECT_EQ(parse({"--method", "svd"}, o), "unknown method 'svd' (closed-form or newton)");
  EXPECT_EQ(parse({"--method"}, o), "option --method needs a method name");
}

TEST(ParseOptionsTest, NewtonIsRigidUnweightedAndProper) {
  Options o;
  EXPECT_EQ(parse({"--method", "newton", "--model", "rigid", "--proj", "--ros", "a", "b"}, o), "");
  EXPECT_EQ(parse({"--method", "newton", "--model", "similarity"}, o),
            "--method newton fits the rigid model only, not --model similarity");
  EXPECT_EQ(parse({"--method", "newton", "--model", "translation"}, o),
            "--method newton fits the rigid model only, not --model translation");
  EXPECT_EQ(parse({"--method", "newton", "--allow-reflection"}, o),
            "--method newton does not take --allow-reflection");
  EXPECT_EQ(parse({"--method", "newton", "--weights", "w"}, o), "--method newton does not take --weights");
}

TEST(ParseOptionsTest, HelpWinsOverBadValues) {
  Options o;
  EXPECT_EQ(parse({"--model", "affine", "--help"}, o), "");
  EXPECT_TRUE(o.help);
  EXPECT_EQ(parse({"--axis", "0,0,0", "--version"}, o), "");
  EXPECT_TRUE(o.version);
}

TEST(HelpTextTest, StatesTheConventions) {
  const std::string help = valign::helpText();
  for (const char* needle :
       {"(w, x, y, z)", "Hamilton", "w >= 0", "Z-Y'-X''", "R = Rz(yaw) Ry(pitch) Rx(roll)", "degrees",
        "radians", "position-vector", "target - T(source)", "arc-seconds", "ppm", "det -1"})
    EXPECT_NE(help.find(needle), std::string::npos) << needle;
}
