// entries
