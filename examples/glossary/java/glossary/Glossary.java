package glossary;

import static java.util.Objects.requireNonNull;

import com.vexa.pm.psScalableCollectionsPersistor;
import java.nio.charset.StandardCharsets;

/**
 * Terms with their meanings, in the order of {@link String#compareTo}, and abbreviations of terms, in a store. What changes
 * is durable once it is committed. An exception undoes what is not committed, and leaves nothing to do but to close the
 * glossary. To be used by one thread.
 */
public final class Glossary implements AutoCloseable {
  static {
    System.loadLibrary("glossary");
  }

  private final psScalableCollectionsPersistor texts = new psScalableCollectionsPersistor();
  private long address;

  /** Opens the store in a file, which is created when there is none and isToChange is true. */
  public Glossary(String path, boolean isToChange) {
    address = open(path.getBytes(StandardCharsets.UTF_8), isToChange);
  }

  /** Gives the term this meaning, also if it had another one. */
  public void put(String term, String meaning) {
    put(address, texts, requireNonNull(term), requireNonNull(meaning));
  }

  /** The meaning of the term; null when there is no such term. */
  public String meaningOf(String term) {
    return meaningOf(address, texts, requireNonNull(term));
  }

  /** Lets an abbreviation stand for a term; false when there is no such term. */
  public boolean abbreviate(String abbreviation, String term) {
    return abbreviate(address, texts, requireNonNull(abbreviation), requireNonNull(term));
  }

  /** The term that the abbreviation stands for; null when there is none. */
  public String termFor(String abbreviation) {
    return termFor(address, texts, requireNonNull(abbreviation));
  }

  /** All terms, in order. */
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

  private static native long open(byte[] path, boolean isToChange);

  private static native void close(long address);

  private static native void commit(long address);

  private static native void put(long address, psScalableCollectionsPersistor texts, String term, String meaning);

  private static native String meaningOf(long address, psScalableCollectionsPersistor texts, String term);

  private static native boolean abbreviate(
      long address, psScalableCollectionsPersistor texts, String abbreviation, String term);

  private static native String termFor(long address, psScalableCollectionsPersistor texts, String abbreviation);

  private static native String[] terms(long address);
}
