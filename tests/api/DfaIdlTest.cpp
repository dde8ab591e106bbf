// The type library against the public header: the same enumerations with the same values, and
// help and an entry name for everything Automation clients bind to.
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
}

// Automation clients bind to the functions by their entry names and show the help strings:
// every enumerator and function has one.
TEST(DfaIdlTest, EveryEnumeratorAndFunctionHasHelpAndAnEntry) {
  const std::string idl = ReadText(kIncludeDir + "travune.idl");
  std::map<std::string, std::string> helps;
  EnumsOf(idl, &helps);
  for (const auto& [name, help] : helps) EXPECT_FALSE(help.empty()) << name;
  for (const char* name : {"dfaOpen", "dfaClose", "dfaGetAcqInfo", "dfaGetChanInfo", "dfaGetData", "dfaGetLastErrorCode"}) {
    EXPECT_NE(HelpBefore(idl, std::string(R"(\w+\s+__stdcall\s+)") + name + R"(\s*\()"), "<missing>") << name;
    EXPECT_NE(idl.find("entry(\"" + std::string(name) + "\")"), std::string::npos) << name;
  }
}

}  // namespace
