# The folders below msg/ that hold a message library's source.
set(ZELK_LOCALES
    en_US)
