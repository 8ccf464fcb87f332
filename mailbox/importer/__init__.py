"""Makes a mailbox file from mails, contacts and calendars in their ordinary file formats."""
