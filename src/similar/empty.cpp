// Replaced by the first source file of this folder.
