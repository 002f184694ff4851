// Private: the texts of the result codes, for log lines.
#ifndef TREL_TRELRESULTTEXT_H
#define TREL_TRELRESULTTEXT_H

// Rows 16 and 17 (no sender context is free, sender address unusable) have no text of their own.
inline constexpr int TREL_RESULT_TEXTS = 18;
constexpr char trelResultTexts[TREL_RESULT_TEXTS][sizeof "RESULT PROTOCOL VERSION_MISMATCH"] = {
    "RESULT OK",
    "RESULT PROTOCOL VERSION_MISMATCH",
    "RESULT DUPLICATE MSG",
    "RESULT LOST MSG",
    "RESULT INVALID ACTION",
    "RESULT GENERAL ERROR",
    "RESULT WRONG TYPE",
    "RESULT WRONG OID",
    "RESULT WRONG LEN",
    "RESULT WRONG VALUE",
    "RESULT READ ONLY",
    "RESULT TOO LONG",
    "RESULT CANNOT EXEC",
    "RESULT WRONG MAGIC",
    "RESULT NOT RECEIVED",
    "RESULT NOT SEND",
    "",
    ""};

// "unknown" for what the table does not hold.
inline const char* trelResultText(int code) {
  return code >= 0 && code < TREL_RESULT_TEXTS ? trelResultTexts[code] : "unknown";
}

#endif
