package glossary;

import com.vexa.pm.psScalableCollectionsPersistor;

/**
 * Terms with their meanings in alphabetical order, and abbreviations of terms, in a store. What changes is durable once it
 * is committed. To be used by one thread.
 */
public final class Glossary implements AutoCloseable {
  static {
    System.loadLibrary("glossary");
  }

  private final psScalableCollectionsPersistor texts = new psScalableCollectionsPersistor();
  private long address;

  /** Opens the store in a file, which is created when there is none and isToChange is true. */
  public Glossary(String path, boolean isToChange) {
    address = open(path, isToChange);
  }

  /** Gives the term this meaning, also if it had another one. */
  public void put(String term, String meaning) {
    put(address, texts, term, meaning);
  }

  /** The meaning of the term; null when there is no such term. */
  public String meaningOf(String term) {
    return meaningOf(address, texts, term);
  }

  /** Lets an abbreviation stand for a term; false when there is no such term. */
  public boolean abbreviate(String abbreviation, String term) {
    return abbreviate(address, texts, abbreviation, term);
  }

  /** The term that the abbreviation stands for; null when there is none. */
  public String termFor(String abbreviation) {
    return termFor(address, texts, abbreviation);
  }

  /** All terms, in alphabetical order. */
  public String[] terms() {
    return terms(address);
  }

  public void commit() {
    commit(address);
  }

  /** Undoes what is not committed. */
  @Override
  public void close() {
    close(address);
    address = 0;
  }

  private static native long open(String path, boolean isToChange);

  private static native void close(long address);

  private static native void commit(long address);

  private static native void put(long address, psScalableCollectionsPersistor texts, String term, String meaning);

  private static native String meaningOf(long address, psScalableCollectionsPersistor texts, String term);

  private static native boolean abbreviate(
      long address, psScalableCollectionsPersistor texts, String abbreviation, String term);

  private static native String termFor(long address, psScalableCollectionsPersistor texts, String abbreviation);

  private static native String[] terms(long address);
}
