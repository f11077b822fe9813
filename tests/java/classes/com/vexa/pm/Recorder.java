package com.vexa.pm;

/** Remembers what it was asked, and answers what it was told to. */
public class Recorder extends psScalableCollectionsPersistor {
  int answer;
  String asked = "";
  Object key;

  @Override
  public int cpp_compare(Object key, long element) {
    this.key = key;
    return record("compare", element);
  }

  @Override
  public int cpp_hash(Object key) {
    this.key = key;
    return record("hash");
  }

  @Override
  public int cpp_compare2(long first, long second) {
    return record("compare2", first, second);
  }

  @Override
  public int cpp_hash2(long element) {
    return record("hash2", element);
  }

  private int record(String method, long... arguments) {
    final StringBuilder text = new StringBuilder(method);
    for (long argument : arguments) text.append(String.format(" %016x", argument));
    asked = text.toString();
    return answer;
  }
}
