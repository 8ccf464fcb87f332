"""Takes duplicates out of the files that a mailbox was imported from, and puts them back."""
