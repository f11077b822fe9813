package com.vexa.pm;

/**
 * Tells the library how the texts of the store compare with a {@code String}, and how both hash. Its name, and those of its
 * methods, are the library's; what they do is the application's.
 *
 * <p>An exception that is thrown here ends the operation that asked, before anything is added, replaced or removed.
 */
public final class psScalableCollectionsPersistor {
  /** How the element stands to the key: negative when it comes first. */
  public int cpp_compare(Object key, long element) {
    return textOf(element).compareTo((String) key);
  }

  /** The same between elements. The second one is that which is compared with the first. */
  public int cpp_compare2(long first, long second) {
    return textOf(second).compareTo(textOf(first));
  }

  public int cpp_hash(Object key) {
    return spread((String) key);
  }

  public int cpp_hash2(long element) {
    return spread(textOf(element));
  }

  /**
   * A hash whose first bits tell similar texts apart, since those choose the bucket. It must not change: where texts are
   * stored depends on it.
   */
  private static int spread(String text) {
    return text.hashCode() * 0x9E3779B1;
  }

  /** The letters of an element. Throws an exception when it cannot be read. */
  private static native String textOf(long element);
}
