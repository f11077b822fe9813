#include <pscollections.h>

#include <cstdio>
#include <cstring>
#include <memory>

class Text : public psObj {
  PS_PERSISTENT_CLASS(Text, psObj, 20001)

 public:
  explicit Text(const char* text) {
    const auto size = static_cast<unsigned int>(std::strlen(text) + 1);
    if (letters.resize(size) == 1) std::memcpy(letters.head(), text, size);
  }
  pstVArray<char> letters;
};
PS_REGISTER_CLASS(Text)

static const char* lettersOf(const pstHandle<Text>& text) {
  return text.open(pscRead) == 1 && text->letters.size() > 0 ? text->letters.head() : "";
}

class TextOrder : public psCompare {
  PS_PERSISTENT_CLASS(TextOrder, psCompare, 20002)

 public:
  TextOrder() = default;
  int compare(const pstHandle<psObj>& stored, const void*& text) const override {
    return std::strcmp(lettersOf(stored), static_cast<const char*>(text));
  }
  int compare(const pstHandle<psObj>& stored, const pstHandle<psObj>& other) const override {
    return std::strcmp(lettersOf(stored), lettersOf(other));
  }
};
PS_REGISTER_CLASS(TextOrder)

static void write(psSession& session) {
  session.begin(pscUpdate);
  const pstHandle<psDBObj> db = session.database("dictionary");  // created by the first run
  const pstHandle<psContObj> texts = session.container(db, "texts");
  pstHandle<psTreeMap> words;
  if (words.lookupObj(db, "words", pscUpdate) != 1) {
    pstHandle<psCompare> order(new (texts) TextOrder);
    words = new (texts) psTreeMap(order, 200);  // 200 pairs to a node
    session.name(words, db, "words");
  }
  char word[80];
  char meaning[400];
  while (std::scanf("%79s %399[^\n]", word, meaning) == 2) {
    if (!words->contains(word)) words->put(new (texts) Text(word), new (texts) Text(meaning));
  }
  session.commit();  // when this returns, all of it is on disk
}

static void read(psSession& session, const char* from, const char* to) {
  session.begin(pscRead);  // sees what has been committed, and does not wait for a writer
  pstHandle<psTreeMap> words;
  if (words.lookupObj(session.database("dictionary"), "words", pscRead) != 1) return;
  const std::unique_ptr<psCollectionIterator> it(words->iterator());
  pstHandle<Text> word(it->goTo(from) ? it->current(pscNoLock) : it->next(pscNoLock));
  for (; word && std::strcmp(lettersOf(word), to) <= 0; word = it->next(pscNoLock)) {
    std::printf("%s: %s\n", lettersOf(word), lettersOf(it->currentValue()));
  }
}

int main(int argc, char** argv) {
  try {
    psSession session;
    session.throwErrors(true);
    session.open("words.ps");
    if (argc == 3) {
      read(session, argv[1], argv[2]);
    } else {
      write(session);
    }
  } catch (const psException& error) {
    std::fprintf(stderr, "quickstart: %s\n", error.what());
    return 1;
  }
}
