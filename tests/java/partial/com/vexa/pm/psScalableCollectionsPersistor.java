package com.vexa.pm;

/** Has all methods but cpp_compare2. */
public class psScalableCollectionsPersistor {
  public int cpp_compare(Object key, long element) {
    return 11;
  }

  public int cpp_hash(Object key) {
    return 12;
  }

  public int cpp_hash2(long element) {
    return 13;
  }
}
