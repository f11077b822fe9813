package glossary;

import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/** The command line of the glossary. */
public final class Main {
  private static final String USAGE =
      String.join(
          System.lineSeparator(),
          "usage: glossary STORE put TERM MEANING              keep a term with its meaning",
          "       glossary STORE abbreviate ABBREVIATION TERM  make an abbreviation stand for a term",
          "       glossary STORE find NAME...                  print what terms or abbreviations mean",
          "       glossary STORE list                          print all terms");

  private static final PrintStream OUT = new PrintStream(System.out, true, StandardCharsets.UTF_8);

  public static void main(String[] arguments) {
    int status;
    try {
      status = run(arguments);
    } catch (IllegalStateException | UnsatisfiedLinkError failure) {
      System.err.println("glossary: " + failure.getMessage());
      status = 2;
    }
    System.exit(status);
  }

  private static int run(String[] arguments) {
    final String command = arguments.length < 2 ? "" : arguments[1];
    final String[] operands = arguments.length < 2 ? arguments : Arrays.copyOfRange(arguments, 2, arguments.length);
    final boolean isToChange = command.equals("put") || command.equals("abbreviate");
    final boolean isKnown =
        isToChange && operands.length == 2
            || command.equals("find") && operands.length > 0
            || command.equals("list") && operands.length == 0;
    if (!isKnown) {
      System.err.println(USAGE);
      return 2;
    }
    try (Glossary glossary = new Glossary(arguments[0], isToChange)) {
      switch (command) {
        case "put":
          glossary.put(operands[0], operands[1]);
          glossary.commit();
          return 0;
        case "abbreviate":
          return abbreviate(glossary, operands[0], operands[1]);
        case "find":
          return find(glossary, operands);
        default:
          for (String term : glossary.terms()) OUT.println(term);
          return 0;
      }
    }
  }

  private static int abbreviate(Glossary glossary, String abbreviation, String term) {
    if (!glossary.abbreviate(abbreviation, term)) {
      System.err.println("glossary: there is no term '" + term + "' to abbreviate; put it first");
      return 1;
    }
    glossary.commit();
    return 0;
  }

  private static int find(Glossary glossary, String[] names) {
    int status = 0;
    for (String name : names) {
      final String full = glossary.termFor(name);
      final String term = full != null ? full : name;
      final String meaning = glossary.meaningOf(term);
      if (meaning == null) {
        System.err.println("glossary: '" + name + "' is not there");
        status = 1;
      } else {
        OUT.println(term + ": " + meaning);
      }
    }
    return status;
  }

  private Main() {}
}
