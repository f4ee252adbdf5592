KNOWN_ELEMENT_SYMBOLS = ("H", "O", "Si")  # any collection will do
