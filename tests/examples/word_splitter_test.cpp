#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "WordSplitter.h"
#include "support/TempStore.h"

namespace {

// The words of a text, a blank behind each, when it is fed in pieces of random lengths up to longest.
std::string wordsOf(const std::string& text, std::size_t longest, std::mt19937_64& random) {
  std::string words;
  WordSplitter splitter([&words](const std::string& word) { words += word + ' '; });
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t length = 1 + random() % longest;
    splitter.feed(std::string_view(text).substr(position, length));
    position += length;
  }
  splitter.finish();
  return words;
}

TEST(WordSplitterTest, FindsTheWordsOfATextHoweverItComesInPieces) {
  const std::string text =
      "It's the Dogs' 'quoted' rock''n'roll, don\xE2\x80\x99t \xE2\x80\x9Csay\xE2\x80\x9D "
      "caf\xC3\xA9\xE2\x80\x94\xC3\x89tude"
      "\xC2\xA0na\xC3\xAFve 3rd x86-64 \xEF\xBB\xBFmark \xE6\xBC\xA2\xE5\xAD\x97 \xF0\x9D\x92\x9C latin\xE9 \xE2\x80";
  const std::string expected =
      "it's the dogs quoted rock n'roll don't say caf\xC3\xA9 \xC3\x89tude na\xC3\xAFve rd x mark "
      "\xE6\xBC\xA2\xE5\xAD\x97 "
      "\xF0\x9D\x92\x9C latin\xE9 \xE2\x80 ";
  std::mt19937_64 random(ps::test::seedOr(1));
  for (const std::size_t longest : {std::size_t{1}, std::size_t{2}, std::size_t{3}, std::size_t{7}, text.size()}) {
    EXPECT_EQ(wordsOf(text, longest, random), expected) << "in pieces of up to " << longest;
  }
}

// A cut inside a character would leave half of it, and what follows a cut would pass for a word.
TEST(WordSplitterTest, CutsLongWordsAtTheEndOfACharacter) {
  std::mt19937_64 random(ps::test::seedOr(2));
  const std::string ninetyNine(WordSplitter::longestWord - 1, 'a');
  EXPECT_EQ(wordsOf(ninetyNine + "\xC3\xA9\xC3\xA9 next", 5, random), ninetyNine + " next ");
  EXPECT_EQ(wordsOf(ninetyNine + "bc'd'e f", 5, random), ninetyNine + "b f ");
  EXPECT_EQ(wordsOf(ninetyNine + "'b f", 5, random), ninetyNine + " f ");
  EXPECT_EQ(foldedPrefix(ninetyNine + "\xC3\xA9tude"), ninetyNine);
}

TEST(WordSplitterTest, FoldsWhatIsLookedForAsItFoldsTexts) {
  EXPECT_EQ(foldedWord("Don\xE2\x80\x99T"), "don't");
  EXPECT_EQ(foldedWord("(freedom)"), "freedom");
  EXPECT_EQ(foldedWord("two words"), "");
  EXPECT_EQ(foldedWord("2038"), "");
  EXPECT_EQ(foldedPrefix("Don\xE2\x80\x99"), "don'");
}

}  // namespace
