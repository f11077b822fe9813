package com.vexa.pm;

/** Compares and hashes the elements of the tests, whose contents only native code can read; fails where it is told to. */
public class psScalableCollectionsPersistor {
  int calls;
  int failingCall;

  public int cpp_compare(Object key, long element) {
    count();
    final Key wanted = (Key) key;
    return wanted.id != null ? wanted.compareIdentifierOf(element) : compareWithNumber(element, wanted.number);
  }

  public int cpp_hash(Object key) {
    count();
    return key.hashCode();
  }

  public int cpp_compare2(long first, long second) {
    count();
    return Long.compare(first, second);
  }

  public int cpp_hash2(long element) {
    count();
    return hashOf(element);
  }

  public long cpp_abbreviation(Object key, long element) {
    count();
    if (key == null) return abbreviationOf(element);
    final Key wanted = (Key) key;
    return wanted.id != null ? 0 : abbreviationOfNumber(wanted.number);
  }

  public int cpp_abbreviationVersion() {
    return versionOfAbbreviations();
  }

  private void count() {
    ++calls;
    if (calls == failingCall) throw new IllegalStateException("call " + calls);
  }

  private static native int compareWithNumber(long element, long number);

  private static native int hashOf(long element);

  private static native long abbreviationOf(long element);

  private static native long abbreviationOfNumber(long number);

  private static native int versionOfAbbreviations();
}
