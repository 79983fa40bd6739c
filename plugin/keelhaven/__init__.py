"""The project analysis service: owner of the contract files, spoken to over HTTP on the loopback interface."""
