// The type library's texts against the public header: the same enumerations with the same
// values, and the names and help strings that Automation clients bind to, exactly as published.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "travune/travune.h"

namespace {

using Enumerators = std::vector<std::pair<std::string, long>>;

const std::string kIncludeDir = std::string(TRAVUNE_TEST_DATA_DIR) + "/../../include/travune/";

std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in.good()) << path;
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string WithoutBlockComments(const std::string& text) {
  return std::regex_replace(text, std::regex(R"(/\*[\s\S]*?\*/)"), "");
}

// Every "enum NAME { ... } NAME;" of text, its enumerators in order; helps (when given)
// receives each enumerator's help string.
std::map<std::string, Enumerators> EnumsOf(const std::string& text, std::map<std::string, std::string>* helps) {
  std::map<std::string, Enumerators> enums;
  const std::regex block(R"(enum\s+(\w+)\s*\{([\s\S]*?)\}\s*(\w+)\s*;)");
  const std::regex entry(R"re((?:\[helpstring\("([^"]*)"\)\]\s*)?(\w+)\s*=\s*(-?\d+))re");
  for (std::sregex_iterator b(text.begin(), text.end(), block), end; b != end; ++b) {
    EXPECT_EQ((*b)[1], (*b)[3]);
    const std::string body = (*b)[2];
    Enumerators& list = enums[(*b)[1]];
    for (std::sregex_iterator e(body.begin(), body.end(), entry); e != end; ++e) {
      list.emplace_back((*e)[2], std::stol((*e)[3]));
      if (helps != nullptr) (*helps)[(*e)[2]] = (*e)[1];
    }
  }
  return enums;
}

// The help string of the function or module declared right after it.
std::string HelpBefore(const std::string& idl, const std::string& declaration) {
  std::smatch m;
  const std::regex pattern(R"re(helpstring\("([^"]*)"\)\s*\]\s*)re" + declaration);
  return std::regex_search(idl, m, pattern) ? m[1].str() : "<missing>";
}

TEST(DfaIdlTest, TheTypeLibraryDeclaresTheHeadersEnumerations) {
  const std::map<std::string, Enumerators> header =
      EnumsOf(WithoutBlockComments(ReadText(kIncludeDir + "travune.h")), nullptr);
  const std::map<std::string, Enumerators> idl = EnumsOf(ReadText(kIncludeDir + "travune.idl"), nullptr);
  for (const char* name : {"dfaSourceDataT", "dfaAcqInfoT", "dfaChanInfoT", "dfaErrorT", "dfaChanSpecT"}) {
    ASSERT_TRUE(header.count(name)) << name;
    ASSERT_TRUE(idl.count(name)) << name;
    EXPECT_EQ(idl.at(name), header.at(name)) << name;
  }
  EXPECT_EQ(idl.size(), 5u);

  // The header's text is what the compiler reads.
  const std::map<std::string, long> compiled = {
      {"sdUnknown", sdUnknown},           {"sdCeldrin", sdCeldrin},         {"acqScanTimeAbs", acqScanTimeAbs},
      {"acqSourceDataType", acqSourceDataType}, {"chnUnitsLength", chnUnitsLength}, {"errInvalHandle", errInvalHandle},
      {"errBadHeaderFormat", errBadHeaderFormat}, {"csAllChans", csAllChans}};
  for (const auto& [name, list] : header) {
    for (const auto& [enumerator, value] : list) {
      if (compiled.count(enumerator)) {
        EXPECT_EQ(value, compiled.at(enumerator)) << enumerator;
      }
    }
  }
  EXPECT_EQ(header.at("dfaAcqInfoT").size(), 13u);
  EXPECT_EQ(header.at("dfaChanInfoT").size(), 7u);
  EXPECT_EQ(header.at("dfaErrorT").size(), 14u);
}

TEST(DfaIdlTest, NamesAndHelpStringsAreThePublishedOnes) {
  const std::string idl = ReadText(kIncludeDir + "travune.idl");
  std::map<std::string, std::string> helps;
  EnumsOf(idl, &helps);
  const std::map<std::string, std::string> published = {
      {"sdUnknown", "Use this enumeration if the file type is unknown."},
      {"sdBrenlow", "Identifies the file as Brenlow data type."},
      {"sdMorvane", "Identifies the file as Morvane data type."},
      {"sdTarquil", "Identifies the file as Tarquil data type."},
      {"sdQuillon", "Identifies the file as Quillon data type."},
      {"sdCeldrin", "Identifies the file as Celdrin Binary data type."},
      {"errNoError", "No error was encountered during the function call."},
      {"errInvalidDataType", "The requested Timestamp format is not supported in this data file."},
      {"errInvalidFileName", "The specified data file name is not valid."},
      {"errInvalidRequest", "The request is not a valid type."},
      {"errInvalidOption", "The option parameter is not a valid value."},
      {"errInvalidChannel", "The specified channel is not a valid number."},
      {"errInvalidOffset", "The specified scan offset value is not a valid number."},
      {"errInvalidCount", "The specified scan count is not a valid number."},
      {"errInvalHandle", "The given Data Access session handle is not valid."},
      {"errInvalidPointer",
       "The pInfoBuf parameter references a memory location that is not valid for the type of information "
       "requested."},
      {"errAlreadyOpen", "The requested data file is already opened in another Data Access session."},
      {"errMemoryAllocation", "An Internal Memory Allocation error was encountered."},
      {"errFileRead", "An Error was encountered reading the specified data file."},
      {"errBadHeaderFormat", "The descriptor file could not be matched to the specified data format."},
      {"csAllChans", "Specify a channel number, or this enumeration to request scans from all channels in the "
                     "acquisition."},
  };
  for (const auto& [name, help] : published) EXPECT_EQ(helps[name], help) << name;
  const std::string noTime = "An errInvalidOption is returned if a timestamp can not be obtained in this format";
  for (const char* name : {"acqScanTimeAbs", "acqScanTimeRel"}) {
    const std::string& help = helps[name];
    EXPECT_TRUE(help.size() >= noTime.size() && help.compare(help.size() - noTime.size(), noTime.size(), noTime) == 0)
        << name << ": " << help;
  }
  for (const auto& [name, help] : helps) EXPECT_FALSE(help.empty()) << name;

  const std::map<std::string, std::string> functions = {
      {"dfaOpen",
       "Opens an acquisition and returns a Data File Access session handle.  The handle is used for data retreival "
       "or querying information.  If the acquisition could not be opened, a negative error code is returned."},
      {"dfaClose", "Closes the acquisition associated with the Data File Access session handle."},
      {"dfaGetAcqInfo", "Returns requested information about the Acquisition configuration."},
      {"dfaGetChanInfo", "Returns requested information about the configuration of the specified Channel."},
      {"dfaGetData", "Returns a number of scans of data from the specified channel(s)."},
      {"dfaGetLastErrorCode",
       "Returns the value of the Error Code produced during the last Data Access function call."},
  };
  for (const auto& [name, help] : functions) {
    EXPECT_EQ(HelpBefore(idl, R"(\w+\s+__stdcall\s+)" + name + R"(\s*\()"), help) << name;
    EXPECT_NE(idl.find("entry(\"" + name + "\")"), std::string::npos) << name;
  }
  EXPECT_EQ(HelpBefore(idl, R"(module\s+DataAccess\b)"),
            "Data File Access functions to read scaled data from raw binary data files.");
  EXPECT_TRUE(std::regex_search(idl, std::regex(R"(version\(2\.3\)[\s\S]*\]\s*library\s+Travune\b)")));
  EXPECT_NE(idl.find("dllname(\"Travune.dll\")"), std::string::npos);
}

}  // namespace
