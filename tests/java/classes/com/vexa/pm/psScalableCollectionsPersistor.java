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

  private void count() {
    ++calls;
    if (calls == failingCall) throw new IllegalStateException("call " + calls);
  }

  private static native int compareWithNumber(long element, long number);

  private static native int hashOf(long element);
}
