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

// Every "enum NAME { ... } NAME;" of text, its enumerators in order; helps receives each
// enumerator's help string.
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
      (*helps)[(*e)[2]] = (*e)[1];
    }
  }
  return enums;
}

TEST(DfaIdlTest, TheTypeLibraryDeclaresTheHeadersEnumerationsWithHelpAndEntries) {
  const std::string idl = ReadText(kIncludeDir + "travune.idl");
  const std::string headerText = ReadText(kIncludeDir + "travune.h");
  std::map<std::string, std::string> helps, headerHelps;
  const std::map<std::string, Enumerators> declared = EnumsOf(idl, &helps);
  const std::map<std::string, Enumerators> header =
      EnumsOf(std::regex_replace(headerText, std::regex(R"(/\*[\s\S]*?\*/)"), ""), &headerHelps);
  for (const char* name : {"dfaSourceDataT", "dfaAcqInfoT", "dfaChanInfoT", "dfaErrorT", "dfaChanSpecT"}) {
    ASSERT_TRUE(header.count(name) && declared.count(name)) << name;
    EXPECT_EQ(declared.at(name), header.at(name)) << name;
  }
  EXPECT_EQ(declared.size(), 5u);
  for (const auto& [name, help] : helps) EXPECT_FALSE(help.empty()) << name;
  // Each function's help string right before its declaration, and its entry name.
  for (const char* name : {"dfaOpen", "dfaClose", "dfaGetAcqInfo", "dfaGetChanInfo", "dfaGetData", "dfaGetLastErrorCode"}) {
    const std::regex declaration(R"re(helpstring\("[^"]+"\)\s*\]\s*\w+\s+__stdcall\s+)re" + std::string(name) +
                                 R"(\s*\()");
    EXPECT_TRUE(std::regex_search(idl, declaration)) << name;
    EXPECT_NE(idl.find("entry(\"" + std::string(name) + "\")"), std::string::npos) << name;
  }
}

}  // namespace
