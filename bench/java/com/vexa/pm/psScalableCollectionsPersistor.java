package com.vexa.pm;

/** Compares identifiers, as a comparison that costs nothing but being called. */
public final class psScalableCollectionsPersistor {
  /** A key that can be changed, so that none need be made while something is measured. */
  static final class Key {
    long id;
  }

  public int cpp_compare(Object key, long element) {
    return Long.compareUnsigned(order(element), order(((Key) key).id));
  }

  /** The number in which the database comes first. */
  private static long order(long id) {
    return id << 48 | (id & 0xFFFF0000L) << 16 | id >>> 16 & 0xFFFF0000L | id >>> 48;
  }
}
