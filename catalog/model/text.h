// Texts as the catalogue keeps them. Names come from strangers' files, so everything passes clean() at the door; folded()
// and key() are what two spellings of one name have in common.
#ifndef VELOX_CATALOG_TEXT_H
#define VELOX_CATALOG_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velox::catalog {

/** Valid UTF-8 without control characters, in one line without outer spaces: a text that isn't UTF-8 is read as Latin-1,
 *  terminal escapes go, controls and direction marks become spaces, runs of spaces one space. A joiner stays between two
 *  characters. Cut at `limit` bytes. */
std::string clean(std::string_view text, size_t limit = 500);

/** Lower case without the accents of Latin letters, punctuation and joiners as single spaces. A name of punctuation alone stays. */
std::string folded(std::string_view text);

/** The words of a text, folded; none in a name of punctuation. */
std::vector<std::string> words(std::string_view text);

/** A number that stands for a text in indexes and derived identifiers: the same in every catalogue and build. */
uint64_t hashed(std::string_view text, uint64_t seed = 0);

/** hashed(folded()), as a signed word for the database. */
int64_t key(std::string_view text);

std::string hex(uint64_t number, int digits = 16);

/** The parts of "a; b", cleaned, without empty ones and repeats. */
std::vector<std::string> divided(std::string_view list);

/** Reads a decimal number that fills the text; false otherwise or above the limit. */
bool number(std::string_view text, uint64_t limit, uint64_t* value);

}  // namespace velox::catalog

#endif
