// UFF 58 writers over a test source: whole files written out by hand, binary byte counts and
// float bytes, records moved for a changed scan count, time bases and the temporary files.
#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "writer/FakeSource.h"
#include "writer/TgtFmtUff58Ascii.h"
#include "writer/TgtFmtUff58Binary.h"
#include "writer/decoders/Decoders.h"
#include "writer/WriterRuns.h"

namespace travune {
namespace {

using testing::FakeChannel;
using testing::FakeSource;
using testing::ReadUff;
using testing::UffContents;
using testing::UffWriterTest;

// Every line followed by CR LF.
std::string Lines(std::initializer_list<std::string> lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\r\n";
  return text;
}

std::string Pad80(const std::string& text) { return text + std::string(80 - text.size(), ' '); }

// Scaled values of the two-channel test acquisition, scan after scan (channel 0, channel 1).
const std::vector<double> kTenScans = {1.0,   0.0,   -1.5, 2.5,   0.001, 1234.5678, -0.000123456, 99999.97,
                                       3.0,   1e-10, -2.0, 0.5,   7.25,  12.0,      8.0,          -0.1,
                                       9.0,   6.02e23, 10.0, -1e-5};

std::unique_ptr<FakeSource> TwoChannels(int64_t preTrig) {
  auto source = std::make_unique<FakeSource>(std::vector<FakeChannel>{{"Temp", "V", -10.0, 10.0}, {"Load", "kN", 0.0, 2.5}},
                                             kTenScans);
  source->SetRates(1000.0, 1000.0);
  source->SetPreTrigCount(preTrig);
  source->SetFileInfo("acq.DSC", "acq.bin", nullptr, nullptr);
  return source;
}

// Dataset 151 of the test source: no data file was opened, so both file times are zero, which
// is 1 January 1601 00:00:00; the conversion time comes from the fixed clock.
std::string Header151() {
  return Lines({"    -1", "   151", "acq.bin", "Raw binary data file.", "Fake data file.",
                // date, then "%10d%10d%10d" of three zeros
                "01-Jan-01   00:00:00         0         0         0", "01-Jan-01   00:00:00", "Fake",
                // date, then "%5d%5d%5d%5d%5d" of 1, 1, 10, 0, 0
                "02-Jan-03   14:30:05    1    1   10    0    0", "    -1"});
}

// Dataset 164: "%10d%-20s%10d" of 9, "US: USER_DEFINED", 1, then four wide fields of 1.0 (two
// blanks and 23 characters each), with exponent letter D in the text form.
std::string Units164(char letter) {
  const std::string one = std::string("  1.00000000000000000") + letter + "+00";
  return Lines({"    -1", "   164", "         9" "US: USER_DEFINED    " "         1", one + one + one, one, "    -1"});
}

// Dataset 1858 of a source at 1000 scans per second with preTrig pre-trigger scans.
std::string Qualifiers1858(const std::string& preTrigField) {
  const std::string zero = "  0.0000000E+00";
  const std::string zeros = zero + zero + zero + zero + zero;
  return Lines({"    -1", "  1858",
                "           0           0           0           0           0           0",
                "     0     0     0     0     0     0     0     0     0     0     0     0", zeros,
                "  1.0000000E+03  1.0000000E+03" + preTrigField + zero + zero, zeros, "X+  X+", Pad80("NONE"),
                "    -1"});
}

// The dataset 58 lines up to record 11. record7 is the whole record 7 line.
std::string Channel58Header(const std::string& idLine1, const std::string& label, const std::string& units,
                            const std::string& record7) {
  const std::string none20 = "NONE                ";
  return Lines({"    -1", "    58", Pad80(idLine1), Pad80("NONE"), "02-Jan-03   14:30:05", Pad80("NONE"),
                Pad80("NONE"),
                // "%5d%10d%5d%10d %-10s%10d%4d %-10s%10d%4d" of 1, 0, 1, 0, NONE, 1, 1, NONE, 1, 1
                "    1         0    1         0 NONE               1   1 NONE               1   1", record7,
                // "%10d%5d%5d%5d %-20s %-20s"
                "        17    0    0    0 " + none20 + " " + none20,
                "         0    0    0    0 " + label + " " + units,
                "         0    0    0    0 " + none20 + " " + none20,
                "         0    0    0    0 " + none20 + " " + none20});
}

const std::string kTempId = "Channel: Temp; -10.000000 to 10.000000 V";
const std::string kLoadId = "Channel: Load; 0.000000 to 2.500000 kN";
const std::string kTempAxis = "Temp                 V                   ";
const std::string kLoadAxis = "Load                 kN                  ";

TEST_F(UffWriterTest, TextFileWithEvenSpacingMatchesTheHandWrittenFile) {
  auto source = TwoChannels(0);
  TgtFmtUff58Ascii writer(source.get(), WriterContext{});
  // Record 7: type 2, 10 values, spacing 1, start 0, step 1/1000, 0.
  const std::string record7 = "         2        10         1  0.00000E+00  1.00000E-03  0.00000E+00";
  const std::string expected =
      Header151() + Units164('D') + Qualifiers1858("  0.0000000E+00") +
      Channel58Header(kTempId, kTempAxis.substr(0, 20), kTempAxis.substr(21), record7) +
      Lines({"  1.00000E+00 -1.50000E+00  1.00000E-03 -1.23456E-04  3.00000E+00 -2.00000E+00",
             "  7.25000E+00  8.00000E+00  9.00000E+00  1.00000E+01", "    -1"}) +
      Qualifiers1858("  0.0000000E+00") +
      Channel58Header(kLoadId, kLoadAxis.substr(0, 20), kLoadAxis.substr(21), record7) +
      // 1234.5678 rounds up to 1.23457; 99999.97 carries into 1.00000E+05.
      Lines({"  0.00000E+00  2.50000E+00  1.23457E+03  1.00000E+05  1.00000E-10  5.00000E-01",
             "  1.20000E+01 -1.00000E-01  6.02000E+23 -1.00000E-05", "    -1"});
  EXPECT_EQ(Run(writer, 10, 0, 10), expected);
  EXPECT_EQ(scratch_.TempFilesLeft(), 0);
}

TEST_F(UffWriterTest, TextFileWithPreTriggerScansHoldsTimeValuePairs) {
  auto source = TwoChannels(3);
  TgtFmtUff58Ascii writer(source.get(), WriterContext{});
  // Record 7: spacing 0, abscissa start and step 0.
  const std::string record7 = "         2        10         0  0.00000E+00  0.00000E+00  0.00000E+00";
  // Times are (scan - 3) / 1000 s; three pairs per line, the last line one pair.
  const std::string expected =
      Header151() + Units164('D') + Qualifiers1858("  3.0000000E+00") +
      Channel58Header(kTempId, kTempAxis.substr(0, 20), kTempAxis.substr(21), record7) +
      Lines({" -3.00000E-03  1.00000E+00 -2.00000E-03 -1.50000E+00 -1.00000E-03  1.00000E-03",
             "  0.00000E+00 -1.23456E-04  1.00000E-03  3.00000E+00  2.00000E-03 -2.00000E+00",
             "  3.00000E-03  7.25000E+00  4.00000E-03  8.00000E+00  5.00000E-03  9.00000E+00",
             "  6.00000E-03  1.00000E+01", "    -1"}) +
      Qualifiers1858("  3.0000000E+00") +
      Channel58Header(kLoadId, kLoadAxis.substr(0, 20), kLoadAxis.substr(21), record7) +
      Lines({" -3.00000E-03  0.00000E+00 -2.00000E-03  2.50000E+00 -1.00000E-03  1.23457E+03",
             "  0.00000E+00  1.00000E+05  1.00000E-03  1.00000E-10  2.00000E-03  5.00000E-01",
             "  3.00000E-03  1.20000E+01  4.00000E-03 -1.00000E-01  5.00000E-03  6.02000E+23",
             "  6.00000E-03 -1.00000E-05", "    -1"});
  EXPECT_EQ(Run(writer, 4, 0, 10), expected);
}

TEST_F(UffWriterTest, BinaryFileDeclaresItsBytesAndHoldsLittleEndianFloats) {
  struct Case {
    int64_t preTrig;
    const char* line2;  // "%6db%6d%6d%12d%12d%6d%6d%12d%12d" of 58, 1, 2, 11, bytes, 0, 0, 0, 0
    const char* record7;
    std::string data;
  };
  const Case cases[] = {
      {0, "    58b     1     2          11          12     0     0           0           0",
       "         2         3         1  0.00000E+00  1.00000E-03  0.00000E+00",
       // 1.5, -2.0 and 0.1 as floats
       std::string("\x00\x00\xC0\x3F\x00\x00\x00\xC0\xCD\xCC\xCC\x3D", 12)},
      {1, "    58b     1     2          11          24     0     0           0           0",
       "         2         3         0  0.00000E+00  0.00000E+00  0.00000E+00",
       // (-0.001 s, 1.5), (0 s, -2.0), (0.001 s, 0.1)
       std::string("\x6F\x12\x83\xBA\x00\x00\xC0\x3F\x00\x00\x00\x00\x00\x00\x00\xC0"
                   "\x6F\x12\x83\x3A\xCD\xCC\xCC\x3D",
                   24)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.preTrig);
    FakeSource source({{"Acc", "g", -5.0, 5.0}}, {1.5, -2.0, 0.1});
    source.SetRates(1000.0, 1000.0);
    source.SetPreTrigCount(c.preTrig);
    source.SetFileInfo("acq.DSC", "acq.bin", nullptr, nullptr);
    TgtFmtUff58Binary writer(&source, WriterContext{});
    // No dataset 1858; dataset 164 keeps the letter E; "    -1" follows the last data byte.
    const std::string expected = Header151() + Units164('E') + Lines({"    -1", c.line2}) +
                                 Channel58Header("Channel: Acc; -5.000000 to 5.000000 g", "Acc                 ",
                                                 "g                   ", c.record7)
                                     .substr(16) +
                                 c.data + Lines({"    -1"});
    EXPECT_EQ(Run(writer, 2, 0, 3), expected);
  }
}

// Binary records are placed in the output with room for the scans announced at the start and
// moved when more or fewer come: the file must not show it. Four channels, so that records
// move past records that have still to move.
TEST_F(UffWriterTest, BinaryRecordsGiveTheSameFileWhateverScanCountWasAnnounced) {
  const std::vector<FakeChannel> channels = {
      {"A", "V", -1.0, 1.0}, {"B", "V", -1.0, 1.0}, {"C", "V", -1.0, 1.0}, {"D", "V", -1.0, 1.0}};
  for (const int64_t preTrig : {0, 1}) {
    FakeSource source(channels, kTenScans);  // 5 scans of 4 channels
    source.SetRates(1000.0, 1000.0);
    source.SetPreTrigCount(preTrig);
    source.SetFileInfo("acq.DSC", "acq.bin", nullptr, nullptr);
    TgtFmtUff58Binary exact(&source, WriterContext{});
    const std::string expected = testing::RunWriter(exact, Path("exact.unv"), "", 5, 0, 5, 2).data;
    for (const int64_t announced : {0, 1, 3, 12}) {
      SCOPED_TRACE(::testing::Message() << "pre-trigger " << preTrig << ", announced " << announced);
      TgtFmtUff58Binary writer(&source, WriterContext{});
      EXPECT_EQ(testing::RunWriter(writer, Path("moved.unv"), "", announced, 0, 5, 2).data, expected);
    }
  }
}

TEST_F(UffWriterTest, EdgesOfTheTimeBase) {
  struct Case {
    const char* name;
    int64_t preTrig;
    double rate;
    bool untimed;
    const char* record7Tail;
    std::vector<double> seconds;  // expected times of scans 0 to 3, uneven spacing only
  };
  const Case cases[] = {
      // A rate of 0 counts as 1 scan per second for the step.
      {"rate 0", 0, 0.0, false, "         1  0.00000E+00  1.00000E+00  0.00000E+00", {}},
      // Times the source cannot give are placed at the trigger rather than stopping the file.
      {"rate 0 with trigger", 2, 0.0, false, "         0  0.00000E+00  0.00000E+00  0.00000E+00", {0.0, 0.0, 0.0, 0.0}},
      // An untimed source counts scans from the trigger, taken as days.
      {"untimed", 2, 100.0, true, "         0  0.00000E+00  0.00000E+00  0.00000E+00",
       {-2.0 * 86400, -86400.0, 0.0, 86400.0}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeSource source({{"A", "V"}}, {0.5, 1.5, 2.5, 3.5});
    source.SetRates(c.rate, c.rate);
    source.SetPreTrigCount(c.preTrig);
    if (c.untimed) source.SetUntimed();
    TgtFmtUff58Ascii writer(&source, WriterContext{});
    const std::string file = Run(writer, 1, 0, 4);
    EXPECT_NE(file.find("         2         4" + std::string(c.record7Tail) + "\r\n"), std::string::npos);
    const UffContents contents = ReadUff(Path("out.unv"));
    ASSERT_TRUE(contents.ok) << contents.error;
    ASSERT_EQ(contents.channels.size(), 1u);
    EXPECT_EQ(contents.channels[0].times, c.seconds);
  }
}

TEST_F(UffWriterTest, AnAcquisitionWithoutScansEndsEachDatasetAfterItsRecords) {
  FakeSource source({{"A", "V"}, {"B", "V"}}, {});
  TgtFmtUff58Ascii writer(&source, WriterContext{});
  const std::string file = Run(writer, 1, 0, 0);
  const std::string record11 = "         0    0    0    0 NONE                 NONE                \r\n";
  EXPECT_NE(file.find("         2         0         1"), std::string::npos);
  EXPECT_NE(file.find(record11 + record11 + "    -1\r\n    -1\r\n  1858"), std::string::npos);
  EXPECT_EQ(file.substr(file.size() - 2 * record11.size() - 8), record11 + record11 + "    -1\r\n");
}

TEST_F(UffWriterTest, NoTemporaryFileOutlivesTheWriter) {
  auto source = TwoChannels(0);
  {
    // Started, one block, then dropped without PostConvert (a conversion abandoned half-way).
    TgtFmtUff58Ascii writer(source.get(), WriterContext{});
    platform::File data = platform::File::Create(Path("abandoned.unv").c_str());
    ASSERT_TRUE(writer.PreConvert(Path("abandoned.unv").c_str(), &data, nullptr, 10));
    EXPECT_EQ(scratch_.TempFilesLeft(), 3);  // the private directory and two channels
    std::vector<uint8_t> area(300);
    OutputArea out(area.data(), area.size());
    EXPECT_EQ(writer.ConvertDataBlock(10, out, 0), 0);
  }
  EXPECT_EQ(scratch_.TempFilesLeft(), 0);

  // A temporary-files directory that cannot be used fails the conversion instead of losing
  // the channels.
  setenv("TMPDIR", Path("missing").c_str(), 1);
  TgtFmtUff58Ascii writer(source.get(), WriterContext{});
  platform::File data = platform::File::Create(Path("failed.unv").c_str());
  EXPECT_FALSE(writer.PreConvert(Path("failed.unv").c_str(), &data, nullptr, 10));
  std::vector<uint8_t> area(300);
  OutputArea out(area.data(), area.size());
  EXPECT_LT(writer.ConvertDataBlock(10, out, 0), 0);
  EXPECT_FALSE(writer.PostConvert());
  EXPECT_FALSE(std::filesystem::exists(Path("missing")));
}

}  // namespace
}  // namespace travune
