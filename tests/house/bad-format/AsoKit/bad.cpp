int  badly_formatted( ){return 1 ;}
